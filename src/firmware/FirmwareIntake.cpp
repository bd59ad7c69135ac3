#include "firmware/FirmwareIntake.h"

#include "base/ChildProcess.h"
#include "base/Directory.h"
#include "base/RegularFile.h"
#include "bootenv/BootEnvironment.h"
#include "firmware/FirmwareControl.h"
#include "firmware/FirmwareRecords.h"
#include "firmware/Md5Text.h"
#include "firmware/PackageGuard.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/SysCfgAccess.h>
#include <qmz/SystemEvent.h>

#include <QDebug>
#include <QDir>
#include <QProcess>
#include <QUrl>

using namespace Qt::StringLiterals;
using qmz::NodekeepGlobals;
using qmz::SystemEvent;

namespace {

const QString downloadedFile = u"/tmp/fwupdate"_s;

// What a shell tells of a command that can't be started.
constexpr int notStarted = 127;

void reportStage(SystemEvent::FileUpload stage)
{
    SystemEvent::firmwareUpdate(stage, u"/"_s);
}

void showEffect(int seconds, int effect)
{
    SysCfgAccess::getInstance()->startLedEffect(seconds, effect);
}

void removeDirectory(const QDir &directory)
{
    QProcess remove;
    runTool(remove, u"rm"_s, {u"-rf"_s, directory.absolutePath()}, noLimitMs);
}

void signalFirmwareFailure()
{
    showEffect(10, 1);
    reportStage(SystemEvent::UpdateFailed);
}

bool checkMd5(const QDir &dir, const QString &name)
{
    const QString image = dir.absoluteFilePath(name);
    if (!isForTools(image))
        return false;

    const QByteArray computed = md5DigestIn(toolOutput(u"md5sum"_s, {image}, noLimitMs));

    const std::optional<QByteArray> shipped = readRegularFile(dir.filePath(name + u".md5"_s));
    return shipped && computed == md5DigestIn(*shipped);
}

} // namespace

FirmwareIntake::FirmwareIntake(BootEnvironment &bootEnvironment, FirmwareRecords &firmwareRecords)
    : environment(bootEnvironment), records(firmwareRecords)
{
}

void FirmwareIntake::startTool(const QString &program, const QStringList &arguments,
                               void (FirmwareIntake::*finished)(int))
{
    auto *const tool = new QProcess(this);
    // What it prints is of no use here, and must not pile up in memory.
    tool->setStandardOutputFile(QProcess::nullDevice());
    tool->setStandardErrorFile(QProcess::nullDevice());
    connect(tool, &QProcess::finished, this, finished);
    connect(tool, &QProcess::errorOccurred, this, [this, tool, finished](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        (this->*finished)(notStarted);
        tool->disconnect(this); // where several of its streams can't be opened, this comes for each of them
    });
    if (!::startTool(*tool, program, arguments))
        Q_EMIT tool->errorOccurred(QProcess::FailedToStart); // as if it had tried
}

void FirmwareIntake::takeIn(const QString &fname, const QString &rname)
{
    uploadedFile = fname;
    qDebug() << "fwupdate file upload:" << fname << " " << rname;
    reportStage(SystemEvent::PackageReceived);

    // tar complains by itself about a directory that could not be made.
    static_cast<void>(ensureDirectory(NodekeepGlobals::UPDATE_PATH));
    guard.beforeUnpacking();
    qDebug() << "tar -C " << NodekeepGlobals::UPDATE_PATH << " -xzf " << fname;
    // What would hold tar up fails as a package that can't be opened does.
    const QString package = isForTools(fname) ? fname : QProcess::nullDevice();
    startTool(u"tar"_s, {u"-C"_s, NodekeepGlobals::UPDATE_PATH, u"-xzf"_s, package}, &FirmwareIntake::tarFinished);
}

void FirmwareIntake::startUpdateHttp(const QString &url)
{
    showEffect(60, 2);
    const QUrl address(url);
    if (!address.isValid())
        return;
    startTool(u"wget"_s, {u"-O"_s, downloadedFile, address.toString()}, &FirmwareIntake::httpDownloadFinished);
}

void FirmwareIntake::httpDownloadFinished(int retval)
{
    showEffect(60, 3);
    auto *const wget = qobject_cast<QProcess *>(sender());
    if (retval == 0 && !(wget && wget->exitStatus() == QProcess::CrashExit)) {
        takeIn(downloadedFile, u"fwupdate-0.qmz"_s);
    } else {
        QFile::remove(downloadedFile);
        qWarning("firmware download failed");
        signalFirmwareFailure();
    }
    if (wget)
        wget->deleteLater();
}

void FirmwareIntake::tarFinished(int status)
{
    showEffect(60, 5);
    QFile::remove(uploadedFile);

    auto *const tar = qobject_cast<QProcess *>(sender());
    if (!tar)
        return;
    guard.afterUnpacking(records.names());
    if (status != 0 || tar->exitStatus() == QProcess::CrashExit) {
        qWarning("firmware package can't be unpacked: tar ended with %d", status);
        signalFirmwareFailure();
        return; // the process object stays, a child of this one
    }
    tar->deleteLater();
    uploadedFile.clear();

    QDir firmware(NodekeepGlobals::UPDATE_PATH);
    reportStage(SystemEvent::PackageUnpacked);
    if (!firmware.cd(NodekeepGlobals::FW_DIRNAME)) {
        signalFirmwareFailure();
        return;
    }
    takeFirmware(firmware);
}

void FirmwareIntake::takeFirmware(QDir firmware)
{
    const std::optional<FirmwareControl> control = acceptableControl(firmware);
    if (!control) {
        signalFirmwareFailure();
        removeDirectory(firmware);
        return;
    }

    const QString name = records.takeName();
    const QString unpacked = firmware.absolutePath();
    firmware.cdUp();
    QProcess move;
    runTool(move, u"mv"_s, {unpacked, firmware.absoluteFilePath(name)}, noLimitMs);

    Q_EMIT accepted(records.addNandUpdate(name, *control));
}

std::optional<FirmwareControl> FirmwareIntake::acceptableControl(const QDir &firmware)
{
    // Before anything in it is read: that may be a link to what has no end.
    if (!isHarmless(firmware))
        return std::nullopt;
    FirmwareControl control = readFirmwareControl(firmware);
    if (!suitsDevice(control, environment.minFwVersion()))
        return std::nullopt;
    if (!checkMd5(firmware, u"linuximage"_s))
        return std::nullopt;
    reportStage(SystemEvent::KernelVerified);
    if (!checkMd5(firmware, u"root.ubi"_s))
        return std::nullopt;
    reportStage(SystemEvent::RootImageVerified);
    return control;
}
