#pragma once

#include <QDir>
#include <QString>

/** What a firmware's "control" file says, every value without outer white space and one pair of double quotes; empty
 *  where the file or the entry is missing. */
struct FirmwareControl
{
    QString version;
    QString releasename;
    QString svnversion;
    QString minUpdaterVer;
    QString date;
};

/** Reads the file "control" of a firmware directory, a variable file with the entries "VERSION", "RELEASENAME",
 *  "SVNVERSION", "MIN_UPDATER_VERSION" and "DATE". One of more than 8 KiB counts as missing. */
[[nodiscard]] FirmwareControl readFirmwareControl(const QDir &firmware);

/** Whether a firmware may be taken in, by what it says: it is no older than the device allows and asks for no newer
 *  updater than this one.
 *
 *  Versions are compared as numbers: 1.10 is below 1.9, and a text that is no number counts as 0. A generation of the
 *  updater that is no number is refused.
 *
 *  @param minVersion lowest version that may be taken in */
[[nodiscard]] bool suitsDevice(const FirmwareControl &control, const QString &minVersion);
