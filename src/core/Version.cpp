#include "core/Version.h"

QString Version::version()
{
    return QStringLiteral(NODEKEEP_VERSION);
}

QString Version::githash()
{
    return QStringLiteral(NODEKEEP_GITHASH);
}
