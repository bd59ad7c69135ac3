#include "plc/PlcBackup.h"

#include "base/ChildProcess.h"
#include "base/RegularFile.h"
#include "plc/ApplicationFiles.h"
#include "plc/PlcApplications.h"
#include "plc/PlcReset.h"
#include "plc/PlcRuntime.h"
#include "plc/SysFileMap.h"

#include <QDebug>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QString plcRoot = plcDirectory.chopped(1);

/** A path below /tmp that nobody has used; empty when the kernel gives no number for it. */
QString newArchivePath()
{
    std::optional<QByteArray> uuid = readRegularFile(u"/proc/sys/kernel/random/uuid"_s);
    if (!uuid)
        return {};
    uuid->chop(1);
    return u"/tmp/"_s + QString::fromLatin1(*uuid) + u".tar.gz"_s;
}

/** One that is still running counts as well: it had its time. */
bool hasDoneItsWork(ToolEnd end)
{
    return end == ToolEnd::Succeeded || end == ToolEnd::StillRunning;
}

QStringList codesysFileMapList()
{
    const std::optional<QByteArray> map = readRegularFile(plcDirectory + u"SysFileMap.cfg"_s);
    return map ? sysFileMapNames(*map) : QStringList();
}

/** The names of all that a backup holds, the list file included, each once.
 *  @param names of the files that the runtime's map lists */
QStringList backupNames(QStringList names, const QStringList &applications)
{
    names << u"SysFileMap.cfg"_s << u"visu"_s << u"PlcLogic"_s;
    for (const QString &application : applications)
        names << application + u".app"_s << application + u".crc"_s;
    names << u"qmz.cfg"_s;
    names.removeDuplicates();
    return names;
}

} // namespace

QString createCodesysTarball()
{
    const QStringList listed = codesysFileMapList();
    const std::optional<PlcState> state = askPlcRuntime();
    if (!state || !writeApplicationList(state->version.toString(), state->applications))
        return {};

    QString archive = newArchivePath();
    QStringList arguments{u"-f"_s, archive, u"-C"_s, plcRoot, u"-cz"_s};
    for (const QString &name : backupNames(listed, state->applications))
        arguments << asFileArgument(name);
    qDebug() << arguments;
    QProcess tar;
    const ToolEnd end = runTool(tar, u"tar"_s, arguments);
    QFile::remove(plcApplicationListPath);

    if (hasDoneItsWork(end))
        return archive;
    if (!archive.isEmpty())
        QFile::remove(archive);
    return {};
}

bool restoreCodesysFromTarball(const QString &file)
{
    stopCodesys();
    removePlcApplicationFiles(u"/loader"_s);

    QProcess tar;
    ToolEnd end = ToolEnd::NotStarted;
    if (isForTools(file))
        end = runTool(tar, u"tar"_s, {u"-C"_s, plcRoot, u"-xzf"_s, asFileArgument(file)});
    QFile::remove(file);
    if (!hasDoneItsWork(end))
        return false;

    // A tar that overruns goes on meanwhile; it ends with this function.
    const bool isPatched = patchCodesysConfig();
    startCodesys();
    return isPatched;
}
