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
 *  "SVNVERSION", "MIN_UPDATER_VERSION" and "DATE". */
[[nodiscard]] FirmwareControl readFirmwareControl(const QDir &firmware);
