#include "logtime/TimeZone.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {
const QString linkPath = u"/etc/localtime"_s;
} // namespace

QString currentTimezone()
{
    const QFileInfo link(linkPath);
    if (!link.isSymLink())
        return u"UTC"_s;

    const QString target = link.symLinkTarget();
    const QString mark = u"zoneinfo/"_s;
    // Of a target without the mark the first 8 characters go, by the same arithmetic; clients know it so.
    return target.mid(target.indexOf(mark) + mark.size());
}

void replaceTimezone(const QString &zone)
{
    const QString path = zoneRoot + u'/' + zone;
    if (!QFileInfo::exists(path))
        return;

    QDir(u"/etc"_s).remove(u"localtime"_s);
    QFile::link(u".."_s + path, linkPath);
}
