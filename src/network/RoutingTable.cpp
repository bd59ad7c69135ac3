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
    for (const QByteArray &bytes : output.split('\n')) {
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
