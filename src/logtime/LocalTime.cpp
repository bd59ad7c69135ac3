#include "logtime/LocalTime.h"

#include <QDateTime>

qint32 localOffset(const QDateTime &moment)
{
    QDateTime sameFieldsInUtc = moment;
    sameFieldsInUtc.setTimeSpec(Qt::UTC);
    return static_cast<qint32>(moment.secsTo(sameFieldsInUtc));
}
