#include "base/ChildProcess.h"

#include <QByteArrayList>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <unistd.h>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxOutputBytes = qsizetype{16} * 1024 * 1024;

// What a shell tells of a program that the kernel refuses.
constexpr int notExecuted = 126;

ToolEnd endOf(const QProcess &tool)
{
    if (tool.state() != QProcess::NotRunning)
        return ToolEnd::StillRunning;
    if (tool.error() == QProcess::FailedToStart)
        return ToolEnd::NotStarted;
    const bool isWell = tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    return isWell ? ToolEnd::Succeeded : ToolEnd::Failed;
}

void report(const QString &program, ToolEnd end, const QProcess &tool)
{
    const QByteArray text = program.toUtf8();
    const char *const name = text.constData();
    switch (end) {
    case ToolEnd::Succeeded:
        break;
    case ToolEnd::Failed:
        if (tool.exitStatus() == QProcess::CrashExit)
            qWarning("%s was ended by signal %d", name, tool.exitCode());
        else
            qWarning("%s ended with status %d", name, tool.exitCode());
        break;
    case ToolEnd::StillRunning:
        qWarning("%s is still running", name);
        break;
    case ToolEnd::NotStarted:
        qWarning("%s can't be started", name);
        break;
    }
}

/** Has the child become its program before Qt tries that: for each child that can't, Qt leaks a descriptor. */
void becomeInChild(QProcess &process, const QString &path, const QStringList &arguments)
{
    QByteArrayList words{QFile::encodeName(path)};
    for (const QString &argument : arguments)
        words.append(QFile::encodeName(argument));
    std::vector<char *> pointers;
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    // The child shares our memory, and must not change it. The list keeps alive what the pointers lead to.
    process.setChildProcessModifier([words, pointers] {
        ::execv(pointers.front(), pointers.data());
        ::_exit(notExecuted);
    });
}

ToolEnd runAndReport(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs)
{
    const bool isOccupied = process.state() != QProcess::NotRunning;
    if (!isOccupied && !startTool(process, program, arguments))
        return ToolEnd::NotStarted;
    process.waitForFinished(timeoutMs);
    const ToolEnd end = isOccupied ? ToolEnd::NotStarted : endOf(process);
    report(program, end, process);
    return end;
}

} // namespace

bool startTool(QProcess &process, const QString &program, const QStringList &arguments)
{
    const QString path = QStandardPaths::findExecutable(program);
    if (path.isEmpty()) {
        report(program, ToolEnd::NotStarted, process);
        return false;
    }
    becomeInChild(process, path, arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments, QIODevice::ReadWrite);
    return true;
}

ToolEnd runTool(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs)
{
    if (process.processChannelMode() == QProcess::SeparateChannels) {
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
    }
    return runAndReport(process, program, arguments, timeoutMs);
}

QByteArray toolOutput(const QString &program, const QStringList &arguments, int timeoutMs)
{
    QByteArray output; // outlives the process, which hands over the rest when it goes
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &process, [&] {
        const QByteArray piece = process.readAllStandardOutput();
        output += QByteArrayView(piece).first(std::min(piece.size(), maxOutputBytes - output.size()));
    });
    runAndReport(process, program, arguments, timeoutMs);
    return output;
}

bool isForTools(const QString &path)
{
    const QFileInfo info(path);
    return !info.exists() || info.isFile();
}

QString asFileArgument(const QString &name)
{
    return name.startsWith(u'-') ? u"./"_s + name : name;
}
