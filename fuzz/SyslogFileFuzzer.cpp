// Reads the log daemon's settings and writes them anew: ASCII, one variable a line, which read back the same.

#include "FuzzTarget.h"

#include "base/AsciiText.h"
#include "logtime/SyslogFile.h"

#include <algorithm>

namespace {

bool isAscii(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return static_cast<uchar>(byte) <= 0x7f; });
}

} // namespace

void checkInput(QByteArrayView input)
{
    const SyslogSettings settings = parseSyslogFile(input.toByteArray());
    require(!settings.remoteTarget.contains(u'\n') && !settings.remoteTarget.contains(u'='));

    const QByteArray written = syslogFile(settings);
    require(isAscii(written));
    SyslogSettings asWritten = settings;
    asWritten.remoteTarget = QString::fromLatin1(toAscii(settings.remoteTarget));
    require(parseSyslogFile(written) == asWritten);
}
