#pragma once

#include <QObject>

class QSocketNotifier;

/** Turns the error frames of the CAN port "can0" into events of the device's event log.
 *
 *  It listens from its construction on, on a raw socket of its own, and needs the event loop. An error frame yields one
 *  event for each error class in it, each frame anew; data frames, which the socket receives as well, yield none. What
 *  can't be read as a frame is an "unspecified error". The events' origin is "/system/can".
 *
 *  The kernel is asked for missing acknowledgements alone; what comes beside is understood all the same.
 *
 *  Without a usable port the listener stays silent for good: it does not look again. The daemon has no instance. */
class CanErrorListener : public QObject
{
    Q_OBJECT

public:
    explicit CanErrorListener(QObject *parent);
    ~CanErrorListener() override;
    Q_DISABLE_COPY_MOVE(CanErrorListener)

    /** Whether the set-up has succeeded. */
    bool isListening() const { return socket != -1; }
    /** The errno of the last step of the set-up that failed; 0 when none did. */
    int setUpError() const { return lastError; }

public Q_SLOTS:
    /** Reads one frame, for which it may wait, and tells what it reports.
     *  @param readySocket a descriptor whose reads end at the end of a frame */
    void dataReady(int readySocket);

private:
    int requestIndex();
    void bindToPort(int interfaceIndex);
    void setErrorFilter();
    void fail();

    int socket = -1;                     // -1: closed
    int lastError = 0;                   // errno
    QSocketNotifier *notifier = nullptr; // null: set-up failed
};
