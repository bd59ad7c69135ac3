#include "firmware/NandUpdate.h"

#include "base/ChildProcess.h"
#include "firmware/FirmwareName.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/SystemEvent.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

NandUpdate::NandUpdate(const QString &path, const QString &version, const QString &releasename,
                       const QString &svnversion, const QString &minUpdaterVer, const QString &date, QObject *parent)
    : QObject(parent),
      facts{.version = version,
            .releasename = releasename,
            .svnversion = svnversion,
            .minUpdaterVer = minUpdaterVer,
            .date = date}
{
    setObjectName(QFileInfo(path).baseName());
    index = trailingNumber(objectName());
}

void NandUpdate::startUpdate()
{
    Q_EMIT start(objectName());
}

void NandUpdate::deleteFw()
{
    const QDir firmwares(qmz::NodekeepGlobals::UPDATE_PATH);
    if (firmwares.exists(objectName())) {
        QProcess remove;
        runTool(remove, u"rm"_s, {u"-rf"_s, firmwares.absoluteFilePath(objectName())});
        qmz::SystemEvent::firmwareDeleted(qmz::NodekeepGlobals::LOADER_PATH + u'/' + objectName());
    } else {
        qWarning("firmware directory %s does not exists.", qUtf8Printable(objectName()));
    }

    // A call on this record may be under way, so the object itself lives a little longer; without a parent it has no
    // address any more.
    setParent(nullptr);
    deleteLater();
}

QString NandUpdate::jsonObject() const
{
    return u"{\"path\":\"/loader/"_s + objectName() + u"\",\"version\":\""_s + facts.version + u"\","_s +
           u"\"svnversion\":\""_s + facts.svnversion + u"\",\"minUpdaterVer\":"_s + facts.minUpdaterVer +
           u",\"date\":\""_s + facts.date + u"\",\"releasename\":\""_s + facts.releasename + u"\"}"_s;
}
