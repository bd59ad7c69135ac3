#pragma once

#include <QtGlobal>

/** @file
 *  The status word of the device's shared area, which other processes see. It is not aligned, has no lock, and is
 *  little-endian whatever the processor is, so it is read and written byte by byte. */

/** Where the word begins, in bytes from the start of the area. */
inline constexpr qsizetype statusWordOffset = 3930;

/** @param area first byte of the shared area */
[[nodiscard]] quint32 readStatusWord(const quint8 *area);

/** Sets or clears one bit and keeps all others as they are. A change that another process makes meanwhile can be lost.
 *  @param area first byte of the shared area
 *  @param bitNumber 0 for the lowest, to 31 */
void writeStatusBit(quint8 *area, int bitNumber, bool isSet);
