#include "network/RoutingTable.h"

#include "base/RegularFile.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype gatewayColumn = 1;
constexpr qsizetype interfaceColumn = 7;
constexpr qsizetype columnCount = 8;

} // namespace

QStringList ethernetGateways(const QByteArray &output)
{
    static const QRegularExpression blanks(u" +"_s);

    QStringList gateways;
    // One line at a time: a tool that has gone wild may have printed millions.
    for (qsizetype begin = 0, end = 0; end >= 0; begin = end + 1) {
        end = output.indexOf('\n', begin);
        const QByteArrayView bytes = QByteArrayView(output).sliced(begin, (end < 0 ? output.size() : end) - begin);
        const QString line = QString::fromLatin1(upToNul(bytes));
        if (line.isEmpty() || !line.front().isDigit()) // also passes over the two headings
            continue;
        const QStringList columns = line.split(blanks);
        if (columns.size() != columnCount || columns.at(interfaceColumn).trimmed() != "eth0"_L1)
            continue;
        if (columns.at(gatewayColumn) != "0.0.0.0"_L1)
            gateways << columns.at(gatewayColumn);
    }
    return gateways;
}
