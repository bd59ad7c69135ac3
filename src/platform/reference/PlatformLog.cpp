// The stored form of the platform's calls: a JSON object a line, in a file that never fills a small disk.

#include "CallRecord.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *logDirectory = "/var/log/qmz";
constexpr const char *logPath = "/var/log/qmz/platform.jsonl";
constexpr const char *olderLogPath = "/var/log/qmz/platform.jsonl.1";
constexpr off_t maxLogBytes = 1024 * 1024;
constexpr qsizetype maxTextLength = 16 * 1024; // at six bytes each, a line's texts still fit into the log

QByteArray lineFor(const char *call, const QVariantList &args)
{
    const QJsonObject entry{
        {u"args"_s, QJsonArray::fromVariantList(args)},
        {u"call"_s, QString::fromLatin1(call)},
        {u"time"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
    };
    return QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n';
}

QVariantList shortened(const QVariantList &args)
{
    QVariantList result;
    for (const QVariant &arg : args) {
        const bool isLong = arg.typeId() == QMetaType::QString && arg.toString().size() > maxTextLength;
        result.append(isLong ? arg.toString().first(maxTextLength) + u'\u2026' : arg);
    }
    return result;
}

/** Any bus client may hand in a text of many megabytes: whether it has to be cut is plain before any JSON is made,
 * which would take seconds. */
bool isBeyondALine(const QVariantList &args)
{
    qsizetype length = 0;
    for (const QVariant &arg : args) {
        if (arg.typeId() == QMetaType::QString)
            length += arg.toString().size();
    }
    return length > maxLogBytes;
}

/** @return a descriptor, or -1. Not blocking, and nothing but a regular file: whatever stands in the log's place must
 *          not hold up the daemon. */
int openLog()
{
    const int descriptor = ::open(logPath, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    struct stat status = {};
    if (descriptor >= 0 && (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

/** Puts the full log aside. Where that is impossible the log is emptied: it must not grow without end. */
int beginAnew(int descriptor)
{
    if (::rename(logPath, olderLogPath) != 0 && ::ftruncate(descriptor, 0) != 0)
        qWarning("%s can neither be renamed nor emptied: %s", logPath, std::strerror(errno));
    ::close(descriptor);
    return openLog();
}

} // namespace

void recordCall(const char *call, const QVariantList &args)
{
    QByteArray line = lineFor(call, isBeyondALine(args) ? shortened(args) : args);
    if (line.size() > maxLogBytes)
        line = lineFor(call, shortened(args));

    ::mkdir(logDirectory, 0755);
    int descriptor = openLog();
    off_t size = descriptor < 0 ? 0 : ::lseek(descriptor, 0, SEEK_END);
    if (size > 0 && size + line.size() > maxLogBytes) {
        descriptor = beginAnew(descriptor);
        size = 0;
    }
    if (descriptor < 0)
        return;
    // Half a line, as a full disk leaves it, would spoil the next one too.
    if (::write(descriptor, line.constData(), static_cast<size_t>(line.size())) != line.size() &&
        ::ftruncate(descriptor, size) != 0)
        qWarning("%s is damaged: %s", logPath, std::strerror(errno));
    ::close(descriptor);
}
