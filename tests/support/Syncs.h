#pragma once

/** How often the program has called sync() since its start. A test program that asks has a sync() that only counts in
 *  place of the C library's: it looks at when the call comes, not at disks. */
int syncsSoFar();
