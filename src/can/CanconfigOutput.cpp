#include "can/CanconfigOutput.h"

#include <QByteArray>

int bitRateIn(QByteArrayView output)
{
    const QByteArrayView mark = "bitrate:";
    const qsizetype start = output.indexOf(mark);
    if (start < 0)
        return 0;

    const QByteArrayView rest = output.sliced(start + mark.size());
    const qsizetype comma = rest.indexOf(',');
    return (comma < 0 ? rest : rest.first(comma)).toByteArray().toInt();
}
