#pragma once

#include "firmware/PackageGuard.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

class BootEnvironment;
class FirmwareRecords;
class NandUpdate;
class QDir;
struct FirmwareControl;

/** The way of a package, uploaded or downloaded, to a numbered directory on the data partition with its record.
 *
 *  A package is unpacked by tar, tested by its control file and md5sum, and moved to its place below
 *  qmz::NodekeepGlobals::UPDATE_PATH; what is refused goes, and so does what it brings beside its firmware. Each stage
 *  is told by the event firmwareUpdate and by the LEDs, failures by these alone. tar and wget run beside the event
 *  loop, the others block. */
class FirmwareIntake : public QObject
{
    Q_OBJECT

public:
    /** @param bootEnvironment tells the lowest version that may be taken in
     *  @param firmwareRecords gets the new record; both outlive this object */
    FirmwareIntake(BootEnvironment &bootEnvironment, FirmwareRecords &firmwareRecords);

    /** Takes a package in, which goes whatever comes of it.
     *  @param fname path of the package
     *  @param rname name that it came under, only logged */
    void takeIn(const QString &fname, const QString &rname);
    /** Downloads a package, and takes it in when it has come. An invalid address is not reported. */
    void startUpdateHttp(const QString &url);

Q_SIGNALS:
    /** A firmware is in its place. */
    void accepted(NandUpdate *record);

public Q_SLOTS:
    /** wget has ended. */
    void httpDownloadFinished(int retval);
    /** tar has ended. */
    void tarFinished(int status);

private:
    void startTool(const QString &program, const QStringList &arguments, void (FirmwareIntake::*finished)(int));
    void takeFirmware(QDir firmware);
    std::optional<FirmwareControl> acceptableControl(const QDir &firmware);

    BootEnvironment &environment;
    FirmwareRecords &records;
    PackageGuard guard;
    QString uploadedFile; // the package being unpacked
};
