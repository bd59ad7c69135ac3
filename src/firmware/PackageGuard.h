#pragma once

#include <QByteArrayList>
#include <QDir>

/** @file
 *  What keeps packages in their place, whatever they hold: tar goes on unpacking through a link that an earlier package
 *  has left, and brings whatever else is in the archive. All is about qmz::NodekeepGlobals::UPDATE_PATH.
 *
 *  Names are bytes here, and a tree has any depth: what Qt would pass over is there for tar all the same. */

/** Removes every link there that leads out of its own firmware's directory, or might. For the time before tar runs. */
void removeLinksLeadingOut();

/** The names that stand there, hidden ones too. */
[[nodiscard]] QByteArrayList firmwareEntries();

/** Removes what a package has brought beside its firmware.
 *  @param others the names that may stand there as well */
void removeStrangers(const QByteArrayList &others);

/** Whether a firmware is a directory that holds files, directories and links within it alone: no device node or the
 *  like, no file that would run as another user. */
[[nodiscard]] bool isHarmless(const QDir &firmware);
