#pragma once

#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QString>

/** @file
 *  Firmware as it lies on the data partition or in a package. */

inline const QString firmwareDirectories = QStringLiteral("/srv/fwupdate/");

/** Lays a complete firmware; its sums are right. */
inline void putFirmware(const QString &directory,
                        const QByteArray &control = "VERSION=\"4.3\"\nRELEASENAME=\"Harvest\"\n"
                                                    "MIN_UPDATER_VERSION=3\n")
{
    writeFile(directory + QStringLiteral("/control"), control);
    for (const QString &name : {QStringLiteral("/linuximage"), QStringLiteral("/root.ubi")}) {
        writeFile(directory + name, "image\n");
        writeFile(directory + name + QStringLiteral(".md5"), "4802fcebd761ca4f04c9a6320330fd10  image\n");
    }
}

/** Packs the directory "firmware" that stands in `parent`. */
inline void packFirmware(const QString &parent, const QString &package)
{
    ASSERT_EQ(QProcess::execute(QStringLiteral("tar"), {QStringLiteral("-C"), parent, QStringLiteral("-czf"), package,
                                                        QStringLiteral("firmware")}),
              0);
}
