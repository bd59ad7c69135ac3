#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class QProcess;

/** How long a tool is waited for where nothing else is said. */
inline constexpr int toolTimeoutMs = 30000;

/** For a tool that is waited for however long it takes. */
inline constexpr int noLimitMs = -1;

/** What became of a tool. */
enum class ToolEnd {
    Succeeded,
    Failed,       ///< ended with a status other than 0, or by a signal
    StillRunning, ///< when its time was up
    NotStarted,
};

/** Runs a tool and blocks until it has ended or the time is up.
 *
 *  The caller owns the process object and thereby decides what becomes of a tool that overruns: it goes on until the
 *  object is destroyed, which kills it. A second tool is not started on the same object meanwhile: the first one is
 *  waited for once more then.
 *
 *  The tool finds an empty standard input. What it prints is thrown away, but where the object forwards its channels.
 *  Whatever it ends with but success leaves a line in the log that says so.
 *
 *  @param process   for this tool, or one whose last tool may still be running
 *  @param program   a path, or a name to be found through PATH
 *  @param timeoutMs in milliseconds; noLimitMs waits until the tool has ended */
ToolEnd runTool(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs = toolTimeoutMs);

/** Runs a tool for what it prints on standard output, of which the first 16 MiB count. A tool that overruns is killed;
 *  all else as for runTool(). */
QByteArray toolOutput(const QString &program, const QStringList &arguments, int timeoutMs = toolTimeoutMs);

/** Starts a tool and does not wait. It finds an empty standard input.
 *  @return false when there is no such program, which leaves a line in the log; the object has not tried then */
[[nodiscard]] bool startTool(QProcess &process, const QString &program, const QStringList &arguments);

/** Whether a tool may be handed a path to read, as a regular file or one that is missing, of which it tells by itself.
 *  A FIFO or a socket would hold it up for ever, a device might never end, and a directory is none of our files. */
[[nodiscard]] bool isForTools(const QString &path);

/** A name as a tool takes it for a file: without a directory in front, "-x" would be an option, and "-" its standard
 *  input. */
[[nodiscard]] QString asFileArgument(const QString &name);
