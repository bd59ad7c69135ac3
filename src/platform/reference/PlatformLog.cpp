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

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr const char *logDirectory = "/var/log/qmz";
constexpr const char *logPath = "/var/log/qmz/platform.jsonl";
constexpr const char *olderLogPath = "/var/log/qmz/platform.jsonl.1";
constexpr off_t maxLogBytes = 1024 * 1024;

QByteArray lineFor(const char *call, const QVariantList &args)
{
    const QJsonObject entry{
        {u"args"_s, QJsonArray::fromVariantList(args)},
        {u"call"_s, QString::fromLatin1(call)},
        {u"time"_s, QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
    };
    return QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n';
}

/** @return a descriptor, or -1. Not blocking, and nothing but a regular file: whatever stands in the log's place must
 *          not hold up the daemon. `size` is the file's. */
int openLog(off_t &size)
{
    const int descriptor = ::open(logPath, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644);
    struct stat status
    {
    };
    if (descriptor >= 0 && (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        ::close(descriptor);
        return -1;
    }
    size = status.st_size;
    return descriptor;
}

} // namespace

void recordCall(const char *call, const QVariantList &args)
{
    const QByteArray line = lineFor(call, args);

    ::mkdir(logDirectory, 0755);
    off_t size = 0;
    int descriptor = openLog(size);
    if (descriptor >= 0 && size > 0 && size + line.size() > maxLogBytes) {
        ::close(descriptor);
        ::rename(logPath, olderLogPath);
        descriptor = openLog(size);
    }
    if (descriptor < 0)
        return;
    if (::write(descriptor, line.constData(), static_cast<size_t>(line.size())) != line.size())
        std::fputs("the platform's log can't be written\n", stderr);
    ::close(descriptor);
}
