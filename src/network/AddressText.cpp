#include "network/AddressText.h"

#include "base/BusText.h"

#include <QStringList>

#include <algorithm>
#include <optional>

namespace {

std::optional<quint32> parseIpv4(const QString &text)
{
    const QStringList numbers = text.split(u'.');
    if (numbers.size() != 4)
        return std::nullopt;

    quint32 address = 0;
    for (const QString &number : numbers) {
        const bool decimal = std::all_of(number.begin(), number.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
        bool fits = false;
        const uint value = number.toUInt(&fits);
        if (!decimal || !fits || value > 255)
            return std::nullopt;
        address = address << 8 | value;
    }
    return address;
}

} // namespace

QHostAddress parseAddress(const QString &text)
{
    const QString trimmed = boundedText(text).trimmed();
    if (trimmed.contains(u':'))
        return QHostAddress(trimmed);
    const std::optional<quint32> ipv4 = parseIpv4(trimmed);
    return ipv4 ? QHostAddress(*ipv4) : QHostAddress();
}
