#pragma once

/** Marks what a platform library offers to the daemon; the library itself is built with hidden visibility. */
#define QMZ_EXPORT __attribute__((visibility("default")))
