#pragma once

#include <QString>

/** The number at the end of a firmware directory's name; -1 for a name that does not end in digits or has digits
 *  elsewhere too. A number that no int holds counts as 0. */
[[nodiscard]] int trailingNumber(const QString &name);

/** The number that a directory on the data partition takes up: that of "fwupdate<number>", and 0 for any other name or
 *  for a number that has no successor in an int. */
[[nodiscard]] int occupiedNumber(const QString &name);

/** A firmware number and a step, which wraps round at the ends of an int: somebody may have numbered a directory by
 *  hand. */
[[nodiscard]] int wrappingAdd(int number, int step);
