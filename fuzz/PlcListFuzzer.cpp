// Writes a list of PLC applications, a version and a name in each further line, and enters it into a configuration:
// each name has to stand there under its number, and an empty list has to take them all out again.

#include "FuzzTarget.h"

#include "base/RegularFile.h"
#include "plc/ApplicationList.h"

namespace {
const QByteArray heading = "[CmpApp]\n";
constexpr qsizetype removable = 99;
} // namespace

void checkInput(QByteArrayView input)
{
    QStringList names = QString::fromUtf8(input).split(u'\n');
    const QString version = names.takeFirst();
    QByteArray expected = heading;
    for (qsizetype i = 0; i < names.size(); ++i)
        expected += "Application." + QByteArray::number(i + 1) + '=' + upToNul(names[i].toUtf8() + '\n').toByteArray();

    const std::optional<QByteArray> patched = withApplications(heading, listFileText(version, names));
    require(patched == expected);

    if (names.size() <= removable && !input.contains('\0') && !input.contains("Application."))
        require(withApplications(*patched, {}) == heading);
}
