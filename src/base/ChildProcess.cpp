#include "base/ChildProcess.h"

#include <QFileInfo>
#include <QProcess>

namespace {

/** What kept a tool from its work; null when nothing did. */
QString failureOf(const QProcess &tool)
{
    if (tool.state() != QProcess::NotRunning)
        return QStringLiteral("is still running");
    if (tool.error() == QProcess::FailedToStart)
        return QStringLiteral("can't be started");
    if (tool.exitStatus() == QProcess::CrashExit)
        return QStringLiteral("was ended by signal %1").arg(tool.exitCode());
    if (tool.exitCode() != 0)
        return QStringLiteral("ended with status %1").arg(tool.exitCode());
    return {};
}

} // namespace

bool runTool(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs)
{
    process.start(program, arguments, QIODevice::ReadWrite);
    const bool hasEnded = process.waitForFinished(timeoutMs);
    if (const QString failure = failureOf(process); !failure.isNull())
        qWarning("%s %s", qUtf8Printable(program), qUtf8Printable(failure));
    return hasEnded;
}

bool isForTools(const QString &path)
{
    const QFileInfo info(path);
    return !info.exists() || info.isFile();
}
