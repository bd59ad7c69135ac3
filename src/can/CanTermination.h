#pragma once

/** @file
 *  The switch of the CAN bus's termination, the device node /dev/canterm.
 *
 *  The driver is not symmetric: it takes a byte of value 0 or 1 and gives the character "0" or "1". The node is opened
 *  without waiting, so that even a FIFO in its place holds nobody up; it is never created. */

/** Switches the termination. Without a node nothing happens. */
void writeCanTermination(bool on);

/** @return whether the termination is on; false also when the node can't be read */
[[nodiscard]] bool readCanTermination();
