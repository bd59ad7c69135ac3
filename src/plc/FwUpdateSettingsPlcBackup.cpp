// Backup and restore of the PLC runtime's applications.

#include "firmware/FwUpdateSettings.h"

#include "base/ChildProcess.h"
#include "base/RegularFile.h"
#include "plc/ApplicationFiles.h"
#include "plc/ApplicationList.h"
#include "plc/PlcRuntime.h"

#include <qmz/Upstart.h>

#include <QDebug>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

/** A path below /tmp that nobody has used; empty when the kernel gives no number for it. */
QString newArchivePath()
{
    std::optional<QByteArray> uuid = readRegularFile(u"/proc/sys/kernel/random/uuid"_s);
    if (!uuid)
        return {};
    uuid->chop(1);
    return u"/tmp/"_s + QString::fromLatin1(*uuid) + u".tar.gz"_s;
}

/** A name as tar takes it: without a directory in front, "-x" would be an option. */
QString asFileArgument(const QString &name)
{
    return name.startsWith(u'-') ? u"./"_s + name : name;
}

/** Whether a tool ran well. One that is still running counts as well: it had its time. */
bool hasSucceeded(const QProcess &tool)
{
    return tool.error() != QProcess::FailedToStart && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
}

} // namespace

QString FwUpdateSettings::createCodesysTarball()
{
    QStringList names = codesysFileMapList();
    names << u"SysFileMap.cfg"_s << u"visu"_s << u"PlcLogic"_s;

    const std::optional<PlcState> state = askPlcRuntime();
    if (!state)
        return {};
    QFile list;
    if (!openRegularFile(list, plcApplicationListPath, QIODevice::ReadWrite))
        return {};
    list.write(listFileText(state->version.toString(), state->applications));
    list.close();

    for (const QString &application : state->applications)
        names << application + u".app"_s << application + u".crc"_s;
    names << u"qmz.cfg"_s;
    names.removeDuplicates();

    QString archive = newArchivePath();
    QStringList arguments{u"-f"_s, archive, u"-C"_s, u"/srv/codesys"_s, u"-cz"_s};
    for (const QString &name : std::as_const(names))
        arguments << asFileArgument(name);
    qDebug() << arguments;
    QProcess tar;
    runTool(tar, u"tar"_s, arguments);
    QFile::remove(plcApplicationListPath);

    if (hasSucceeded(tar))
        return archive;
    if (!archive.isEmpty())
        QFile::remove(archive);
    return {};
}

bool FwUpdateSettings::restoreCodesysFromTarball(const QString &file)
{
    Upstart::stop(u"codesys"_s, false);
    removePlcApplicationFiles(u"/loader"_s);

    // tar would wait for the other end of a FIFO.
    const QFileInfo archive(file);
    const bool isReadable = !archive.exists() || archive.isFile();
    QProcess tar;
    if (isReadable)
        runTool(tar, u"tar"_s, {u"-C"_s, u"/srv/codesys"_s, u"-xzf"_s, file});
    QFile::remove(file);
    if (!isReadable || !hasSucceeded(tar))
        return false;

    // A tar that overruns goes on meanwhile; it ends with this function.
    const bool isPatched = patchCodesysConfig();
    Upstart::start(u"codesys"_s, false);
    return isPatched;
}
