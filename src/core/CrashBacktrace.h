#pragma once

/** A signal handler that prints where the program is: "Got signal ..." and a line for each frame but its own, on
 *  standard output.
 *
 *  It ends the process with status 0, by exit(). Nothing installs it: a crash takes the default action and leaves its
 *  true status to the init system.
 *
 *  @param signalNumber the signal's number, only printed */
[[noreturn]] void crashBacktraceHandler(int signalNumber);
