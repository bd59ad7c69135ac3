#include "system/PasswordResetFile.h"

#include <QIODevice>

namespace {

constexpr qint64 maxLineBytes = 256;

const QByteArray hostnamePrefix = QByteArrayLiteral("hostname=");
const QByteArray macPrefix = QByteArrayLiteral("mac=");

} // namespace

PasswordResetFile PasswordResetFile::read(QIODevice &text)
{
    PasswordResetFile found;
    // An empty line still has its line feed: nothing at all means the end, or that the file can't be read on.
    for (QByteArray line = text.readLine(maxLineBytes); !line.isEmpty(); line = text.readLine(maxLineBytes)) {
        if (line.startsWith(hostnamePrefix))
            found.hostname = line.sliced(hostnamePrefix.size()).trimmed();
        if (line.startsWith(macPrefix)) {
            found.mac = line.sliced(macPrefix.size()).trimmed();
            break;
        }
    }
    return found;
}
