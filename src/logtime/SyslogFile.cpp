#include "logtime/SyslogFile.h"

#include "base/AsciiText.h"
#include "base/BusText.h"
#include "base/RegularFile.h"

namespace {

constexpr QByteArrayView heading =
    "#non-standard config file used for syslogd.conf in upstart, do not edit use nodekeep/system/syslog\n";

/** What an option such as `"-s 200"` is followed by. Its closing quote is cut off unseen, so a value without quotes
 *  loses its last character. */
QByteArray optionArgument(const QByteArray &option)
{
    const qsizetype blank = option.indexOf(' ');
    QByteArray argument = option.mid(blank < 0 ? 0 : blank).trimmed();
    argument.chop(1);
    return argument;
}

} // namespace

SyslogSettings parseSyslogFile(const QByteArray &text)
{
    SyslogSettings settings;
    for (const QByteArray &line : text.split('\n')) {
        if (line.startsWith('#') || line.count('=') != 1)
            continue;
        const qsizetype divider = line.indexOf('=');
        const QByteArray key = line.first(divider);
        const QByteArray value = line.sliced(divider + 1);

        if (key.startsWith("SIZE"))
            settings.logSizeKb = optionArgument(value).toInt();
        else if (key.startsWith("REMOTE"))
            settings.remoteTarget = boundedText(QString::fromUtf8(upToNul(optionArgument(value))));
        else if (key.startsWith("LOCAL") && value.trimmed().isEmpty())
            settings.logLocal = false;
    }
    return settings;
}

QByteArray syslogFile(const SyslogSettings &settings)
{
    QByteArray text = heading.toByteArray();
    text += "SIZE=\"-s " + QByteArray::number(settings.logSizeKb) + "\"\n";
    if (!settings.remoteTarget.isEmpty())
        text += "REMOTE=\"-R " + toAscii(settings.remoteTarget) + "\"\n";
    text += settings.logLocal ? "LOCAL=-L\n" : "LOCAL=\n";
    return text;
}
