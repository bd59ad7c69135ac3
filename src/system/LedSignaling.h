#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;

/** "Here I am": the LEDs of the measurement card, on this device or on another one. */
class LedSignaling : public QObject
{
    Q_OBJECT

public:
    /** Signals with the LEDs of this device for some seconds; 10 when `timeInSec` is not above 0. */
    static void startMeascardLedSignaling(int timeInSec);
    /** Asks another device to signal, over HTTP, and returns at once; nobody learns how it went. While one request is
     *  under way a further one costs memory that is not given back, and the first answer ends the latest request.
     *  @param networkaddress host, and port and path where they are needed */
    void remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress);

public Q_SLOTS:
    /** The other device has answered, or can't be reached. */
    void replyFinished(QNetworkReply *reply);

private:
    QPointer<QNetworkAccessManager> netManager; // of the latest request; not owned
};
