#include "firmware/FirmwareName.h"

#include <QRegularExpression>

#include <limits>

using namespace Qt::StringLiterals;

int trailingNumber(const QString &name)
{
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(u"[^0-9]*([0-9]+)"_s));
    const QRegularExpressionMatch match = pattern.match(name);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

int occupiedNumber(const QString &name)
{
    static const QRegularExpression pattern(QRegularExpression::anchoredPattern(u"fwupdate([0-9]*)"_s));
    const int number = pattern.match(name).captured(1).toInt();
    return number < std::numeric_limits<int>::max() ? number : 0;
}

int wrappingAdd(int number, int step)
{
    return static_cast<int>(static_cast<unsigned int>(number) + static_cast<unsigned int>(step));
}
