#pragma once

#include <QString>

/** @file
 *  The PLC runtime's files on the data partition. */

/** The runtime's directory, with a final slash. */
inline const QString plcDirectory = QStringLiteral("/srv/codesys/");

/** The list of applications that an update or a backup carries. */
inline const QString plcApplicationListPath = plcDirectory + QStringLiteral("qmz.cfg");

/** The runtime's own configuration, which an update replaces. */
inline const QString plcConfigurationPath = QStringLiteral("/CODESYSControl/CODESYSControl.cfg");

/** Makes the directories "visu" and "PlcLogic", which the runtime expects, where they are missing; none without the
 *  runtime's directory. */
void makePlcDirectories();

/** Removes the files "*.app" and "*.crc" from qmz::NodekeepGlobals::CODESYS_LICENSE_PATH, and tells each, ahead of its
 *  removal, by the event codesysFileRemoved. A file that can't be removed stays, and nobody is told.
 *  @param origin the bus path in whose name the events are told */
void removePlcApplicationFiles(const QString &origin);
