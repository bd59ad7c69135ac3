// The time zone's half of the class.

#include "logtime/Systemtime.h"

#include "logtime/ZoneTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {
const QString zoneRoot = u"/usr/share/zoneinfo"_s;
const QString linkPath = u"/etc/localtime"_s;
} // namespace

QString Systemtime::getTimezone() const
{
    const QFileInfo link(linkPath);
    if (!link.isSymLink())
        return u"UTC"_s;

    const QString target = link.symLinkTarget();
    const QString mark = u"zoneinfo/"_s;
    // Of a target without the mark the first 8 characters go, by the same arithmetic; clients know it so.
    return target.mid(target.indexOf(mark) + mark.size());
}

void Systemtime::setTimezone(const QString &zone)
{
    const QString path = zoneRoot + u'/' + zone;
    if (!QFileInfo::exists(path))
        return;

    QDir(u"/etc"_s).remove(u"localtime"_s);
    QFile::link(u".."_s + path, linkPath);
}

QString Systemtime::jsonTimezones() const
{
    return zoneTreeText(zoneRoot);
}
