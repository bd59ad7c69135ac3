#pragma once

#include <QString>
#include <QStringList>

class QProcess;

/** How long a tool is waited for where nothing else is said. */
inline constexpr int toolTimeoutMs = 30000;

/** For a tool that is waited for however long it takes. */
inline constexpr int noLimitMs = -1;

/** Runs a tool and blocks until it has ended or the time is up.
 *
 *  The caller owns the process object and thereby decides what becomes of a tool that overruns: it goes on until the
 *  object is destroyed, which kills it, and a second tool can't be started on the same object meanwhile.
 *
 *  A tool that can't be started, overruns, or ends otherwise than well leaves a line in the log that says so.
 *
 *  @param process   not running; keeps exit status and output for the caller
 *  @param program   a path, or a name to be found through PATH
 *  @param timeoutMs in milliseconds; noLimitMs waits until the tool has ended
 *  @return whether the tool was started and has ended. Its exit status is left to the caller. */
bool runTool(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs = toolTimeoutMs);

/** Whether a tool may be handed a path to read. A FIFO or a socket would hold it up for ever, and a device might never end;
 *  of what is missing the tool tells by itself. */
[[nodiscard]] bool isForTools(const QString &path);
