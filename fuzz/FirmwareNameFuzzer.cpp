// Reads the number in the name of a firmware directory; a plain walk over the digits has to find the same.

#include "FuzzTarget.h"

#include "firmware/FirmwareName.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

/** The number that digits stand for; 0 when there are none or no int holds it. */
int numberOf(QStringView digits)
{
    qint64 number = 0;
    for (const QChar digit : digits)
        number = std::min(number * 10 + (digit.unicode() - u'0'), qint64{std::numeric_limits<qint32>::max()} + 1);
    return number > std::numeric_limits<int>::max() ? 0 : static_cast<int>(number);
}

} // namespace

void checkInput(QByteArrayView input)
{
    const QString name = QString::fromUtf8(input);
    const auto firstDigit = std::find_if(name.begin(), name.end(), isDigit);
    const bool endsInDigits = firstDigit != name.end() && std::all_of(firstDigit, name.end(), isDigit);
    const QStringView digits = QStringView(name).sliced(firstDigit - name.begin());

    require(trailingNumber(name) == (endsInDigits ? numberOf(digits) : -1));

    const bool isNumbered = endsInDigits && name.first(firstDigit - name.begin()) == "fwupdate"_L1;
    const int occupied = isNumbered ? numberOf(digits) : 0;
    require(occupiedNumber(name) == (occupied == std::numeric_limits<int>::max() ? 0 : occupied));
    require(wrappingAdd(wrappingAdd(trailingNumber(name), 1), -1) == trailingNumber(name));
}
