// The boot environment's way between the flash and the directory of files.

#include "firmware/FwUpdateSettings.h"

#include "base/ChildProcess.h"
#include "bootenv/BareboxConfig.h"

#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

void FwUpdateSettings::fetchBootEnv()
{
    QProcess tool;
    if (QDir().exists(envPath))
        runTool(tool, u"rm"_s, {u"-r"_s, u"--"_s, envPath});
    QDir().mkdir(envPath);

    QProcess unpack;
    runTool(unpack, u"bareboxenv"_s, {u"-l"_s, envPath, envDevice});
}

void FwUpdateSettings::loadEnv()
{
    fetchBootEnv();

    const QStringList names = QDir(envPath).entryList(QDir::Files, QDir::NoSort);
    for (const QString &name : names)
        addConfig(name);
}

void FwUpdateSettings::saveEnv()
{
    for (QObject *child : children()) {
        if (auto *config = dynamic_cast<BareboxConfig *>(child))
            config->save();
    }
    saveEnvNoRestore();
}

void FwUpdateSettings::saveEnvNoRestore()
{
    // Both tools share one process object: an erase that overruns its time is still running there, so the write is not
    // started on top of it.
    QProcess tool;
    runTool(tool, u"flash_eraseall"_s, {envDevice});
    runTool(tool, u"bareboxenv"_s, {u"-s"_s, envPath, envDevice});
}
