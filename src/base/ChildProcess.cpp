#include "base/ChildProcess.h"

#include <QProcess>

bool runTool(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs)
{
    process.start(program, arguments, QIODevice::ReadWrite);
    return process.waitForFinished(timeoutMs);
}
