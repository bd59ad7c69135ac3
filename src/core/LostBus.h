#pragma once

#include <QObject>

/** Ends the event loop with status 1 when the system bus is gone, or has cut the daemon off: nobody could call it any
 *  more, and a new process can. */
class LostBus : public QObject
{
    Q_OBJECT

public:
    /** Watches the connection from now on. Ends the process when the bus refuses that. */
    LostBus();

private Q_SLOTS:
    void leave();
};
