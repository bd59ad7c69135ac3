#include "logtime/TimeinfoText.h"

#include "base/RegularFile.h"

using namespace Qt::StringLiterals;

QString timeinfoText(QByteArrayView uptimeContent, qint64 currentTime)
{
    const qsizetype blank = uptimeContent.indexOf(' ');
    if (blank < 0)
        return u"{}"_s;

    const QByteArrayView uptime = upToNul(uptimeContent.first(blank));
    const QByteArrayView idleTime = upToNul(uptimeContent.sliced(blank).trimmed());
    return u"{\"uptime\":"_s + QString::fromLocal8Bit(uptime) + u",\"idletime\":"_s + QString::fromLocal8Bit(idleTime) +
           u",\"currenttime\":"_s + QString::number(currentTime) + u'}';
}
