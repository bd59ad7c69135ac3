#include "base/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 pieceBytes = qint64{64} * 1024;

int openFlags(QIODevice::OpenMode mode)
{
    // O_NONBLOCK keeps the open itself from waiting for the other end of a FIFO; regular files don't mind.
    constexpr int always = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    if (mode.testFlags(QIODevice::ReadWrite))
        return O_RDWR | O_CREAT | always;
    if (mode.testFlag(QIODevice::WriteOnly))
        return O_WRONLY | O_CREAT | O_TRUNC | always;
    return O_RDONLY | always;
}

bool isAcceptable(int descriptor, QIODevice::OpenMode mode)
{
    struct stat status
    {
    };
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    return !mode.testFlag(QIODevice::ReadOnly) || status.st_size <= maxFileBytes;
}

} // namespace

bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenMode mode)
{
    if (path.contains(QChar::Null))
        return false;

    const int descriptor = ::open(QFile::encodeName(path).constData(), openFlags(mode), 0666);
    if (descriptor < 0)
        return false;
    if (!isAcceptable(descriptor, mode) || !file.open(descriptor, mode, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return false;
    }
    return true;
}

std::optional<QByteArray> readRegularFile(const QString &path)
{
    QFile file;
    if (!openRegularFile(file, path, QIODevice::ReadOnly))
        return std::nullopt;
    // In pieces, as what its size tells of a file of the kernel's is nothing.
    QByteArray content;
    for (qint64 count = 1; count > 0;) {
        const qsizetype end = content.size();
        content.resize(end + pieceBytes);
        count = file.read(content.data() + end, pieceBytes);
        content.truncate(end + static_cast<qsizetype>(qMax(count, qint64{0})));
        if (content.size() > maxFileBytes)
            return std::nullopt;
    }
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    content.squeeze(); // some keep it
    return content;
}

bool writeRegularFile(const QString &path, const QByteArray &content)
{
    QFile file;
    return openRegularFile(file, path, QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
}

QByteArrayView upToNul(QByteArrayView bytes)
{
    const qsizetype end = bytes.indexOf('\0');
    return end < 0 ? bytes : bytes.first(end);
}

std::optional<QString> readValueFile(const QString &path)
{
    const std::optional<QByteArray> content = readRegularFile(path);
    if (!content)
        return std::nullopt;
    return QString::fromLocal8Bit(upToNul(content->trimmed()));
}
