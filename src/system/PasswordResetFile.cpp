#include "system/PasswordResetFile.h"

#include <QIODevice>

#include <array>

namespace {

constexpr qint64 maxLineBytes = 256;

/** The next line with its line feed, or as much of it as counts as one; empty at the end, or where nothing can be read
 *  any more. */
QByteArray nextLine(QIODevice &text)
{
    // Room for the NUL behind it, for which the form of readLine that returns an array takes a byte off its limit.
    std::array<char, maxLineBytes + 1> buffer{};
    const qint64 length = text.readLine(buffer.data(), buffer.size());
    return length > 0 ? QByteArray(buffer.data(), static_cast<qsizetype>(length)) : QByteArray();
}

constexpr QByteArrayView hostnamePrefix = "hostname=";
constexpr QByteArrayView macPrefix = "mac=";

} // namespace

PasswordResetFile PasswordResetFile::read(QIODevice &text)
{
    PasswordResetFile found;
    for (QByteArray line = nextLine(text); !line.isEmpty(); line = nextLine(text)) {
        if (line.startsWith(hostnamePrefix))
            found.hostname = line.sliced(hostnamePrefix.size()).trimmed();
        if (line.startsWith(macPrefix)) {
            found.mac = line.sliced(macPrefix.size()).trimmed();
            break;
        }
    }
    return found;
}
