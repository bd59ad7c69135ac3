#pragma once

#include <QByteArray>
#include <QByteArrayView>

/** @file
 *  What all fuzz targets share. A target is a definition of checkInput(). */

/** Hands an input to the parser and looks at what comes of it; ends the process by require() where that is wrong. */
void checkInput(QByteArrayView input);

/** Ends the process when a condition does not hold, which is a finding. */
void require(bool condition);

/** Takes the first part off an input of several, which lines of "----" divide; all of it where there is no such
 *  line. */
[[nodiscard]] QByteArrayView takePart(QByteArrayView &input);
