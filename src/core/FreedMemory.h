#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

/** Gives memory back to the system that a flood of messages took, a moment after the main thread has worked for some
 *  time. The C library alone would keep most of it for good, as between the messages lies a little that lives longer.
 *
 *  Made on the main thread, before its event loop runs. Wakes nobody up who has nothing to do. */
class FreedMemory : public QObject
{
public:
    FreedMemory();

private:
    void look();
    void giveBack();

    QTimer moment;
    std::chrono::nanoseconds worked; // by the main thread until memory was given back
};
