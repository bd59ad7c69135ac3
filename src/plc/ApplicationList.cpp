#include "plc/ApplicationList.h"

#include "base/RegularFile.h"

namespace {

constexpr QByteArrayView section = "[CmpApp]";
constexpr QByteArrayView anchor = "Bootproject.RetainMismatch.Init=1"; // the last line of a new configuration's section
constexpr qsizetype lineFeed = 1;
constexpr int highestRemoved = 99;

QByteArray entryStart(int number)
{
    return "Application." + QByteArray::number(number) + '=';
}

/** Each line with its line feed; the last one with what it has. */
QList<QByteArray> linesOf(const QByteArray &text)
{
    QList<QByteArray> lines;
    for (qsizetype start = 0; start < text.size();) {
        const qsizetype end = text.indexOf('\n', start);
        const qsizetype next = end < 0 ? text.size() : end + 1;
        lines.append(text.sliced(start, next - start));
        start = next;
    }
    return lines;
}

QByteArray entriesOf(const QByteArray &listFile)
{
    QByteArray entries;
    const QList<QByteArray> lines = linesOf(listFile);
    for (int number = 1; number < lines.size(); ++number) // the first line, 0, is the version
        entries += entryStart(number) + upToNul(lines.at(number)).toByteArray();
    return entries;
}

void removeEntries(QByteArray &configuration)
{
    for (int number = 1; number <= highestRemoved; ++number) {
        const qsizetype start = configuration.indexOf(entryStart(number));
        if (start < 0)
            continue;
        const qsizetype end = configuration.indexOf('\n', start);
        if (end >= 0)
            configuration.remove(start, end + 1 - start);
    }
}

/** Inserts a text behind a line; where the line feed should be and the text ends before, a blank takes its place. */
std::optional<QByteArray> insertedBehind(QByteArray configuration, QByteArrayView line, const QByteArray &text)
{
    const qsizetype start = configuration.indexOf(line);
    if (start < 0)
        return std::nullopt;
    return configuration.insert(start + line.size() + lineFeed, text);
}

} // namespace

QByteArray listFileText(const QString &version, const QStringList &applications)
{
    QString text = version + u'\n';
    for (const QString &application : applications)
        text += application + u'\n';
    return text.toLocal8Bit();
}

std::optional<QByteArray> withApplications(QByteArray configuration, const QByteArray &listFile)
{
    removeEntries(configuration);
    return insertedBehind(configuration, section, entriesOf(listFile));
}

std::optional<QByteArray> withDefaultApplication(QByteArray configuration)
{
    return insertedBehind(configuration, anchor, "Application.1=Application\n");
}
