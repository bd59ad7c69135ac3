#include "bootenv/VariableFile.h"

#include "base/RegularFile.h"

#include <QStringDecoder>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** A system bus carries 32 MiB in one message, its header included, and cuts off who sends more. */
constexpr qsizetype maxSize = qsizetype{31} * 1024 * 1024;

/** What a variable takes in an answer beside its text: at most so much for lengths, type and padding. */
constexpr qsizetype sizeAround = 32;

/** A guess, for what is set aside before the lines are counted. */
constexpr qsizetype usualLineSize = 32;

bool isAscii(QByteArrayView bytes)
{
    return std::none_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) != 0; });
}

QByteArray comment(QLatin1StringView ascii)
{
    return QByteArray::fromRawData(ascii.data(), ascii.size());
}

QByteArray comment(QStringView text)
{
    return text.toUtf8();
}

/** The text of bytes that were made from one. A byte order mark at its beginning is part of it. */
QString textOf(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(bytes);
}

/** Whether no white space is taken off there: of what is not ASCII, some is. */
bool isSolid(char byte)
{
    return byte > ' ' && (byte & 0x80) == 0;
}

QByteArray trimmed(const QByteArray &line)
{
    return isSolid(line.front()) && isSolid(line.back()) ? line : textOf(line).trimmed().toUtf8();
}

} // namespace

VariableFile::VariableFile(std::optional<QByteArray> bytes) : rawContent(std::move(bytes).value_or("#!/bin/sh"_ba))
{
    lines.reserve(std::size_t(rawContent.size() / usualLineSize));
    places.reserve(rawContent.size() / usualLineSize);

    for (QByteArrayView rest = rawContent; !rest.isEmpty();) {
        const qsizetype lineFeed = rest.indexOf('\n');
        const QByteArrayView line = upToNul(lineFeed < 0 ? rest : rest.first(lineFeed));
        rest = lineFeed < 0 ? QByteArrayView() : rest.sliced(lineFeed + 1);

        if (isAscii(line))
            readLine(QLatin1StringView(line));
        else
            readLine(QStringView(QString::fromUtf8(line)));
    }
}

template <typename Text> void VariableFile::readLine(Text line)
{
    if (line.startsWith(u'#')) {
        lines.push_back({comment(line)});
        return;
    }
    const qsizetype divider = line.indexOf(u'=');
    if (divider <= 0)
        return;
    if (const Text name = line.first(divider).trimmed(); !name.isEmpty())
        setLine(variable(name, line.sliced(divider + 1).trimmed()));
}

VariableFile::Line VariableFile::variable(QByteArrayView name, QByteArrayView value)
{
    QByteArray text;
    text.reserve(name.size() + 1 + value.size());
    text.append(name).append('=').append(value);
    return {.text = text, .nameSize = name.size()};
}

VariableFile::Line VariableFile::variable(QLatin1StringView name, QLatin1StringView value)
{
    const char *const end = value.data() + value.size();
    if (value.data() != name.data() + name.size() + 1)
        return variable(QByteArrayView(name), QByteArrayView(value));
    return {.text = QByteArray::fromRawData(name.data(), end - name.data()), .nameSize = name.size()};
}

VariableFile::Line VariableFile::variable(QStringView name, QStringView value)
{
    return variable(QByteArrayView(name.toUtf8()), QByteArrayView(value.toUtf8()));
}

bool VariableFile::contains(const QString &name) const
{
    return places.contains(name.toUtf8());
}

QString VariableFile::value(const QString &name) const
{
    const auto place = places.constFind(name.toUtf8());
    return place == places.constEnd() ? QString() : textOf(lines[*place].value());
}

QStringList VariableFile::names() const
{
    QStringList names;
    names.reserve(places.size());
    for (const Line &line : lines) {
        if (line.isVariable())
            names += textOf(line.name());
    }
    return names;
}

void VariableFile::set(const QString &name, const QString &value)
{
    setLine(variable(QStringView(name), QStringView(value)));
}

void VariableFile::setLine(const Line &line)
{
    const auto known = places.constFind(line.name());
    const bool isNew = known == places.constEnd();
    if (!isNew && line.nameSize == 0)
        return;
    const qsizetype grown = line.text.size() + (isNew ? sizeAround : -lines[*known].text.size());
    if (size + grown > maxSize)
        return;

    size += grown;
    const std::size_t place = isNew ? lines.size() : *known;
    if (isNew) {
        lines.push_back(line);
    } else {
        places.remove(line.name()); // the one there lies in the bytes that go
        lines[place] = line;
    }
    places.insert(lines[place].name(), place);
}

QByteArray VariableFile::toBytes() const
{
    QByteArray text;
    text.reserve(rawContent.size() + 1);
    for (const Line &line : lines) {
        text += trimmed(line.text);
        text += '\n';
    }
    return text;
}

QString unquotedValue(const QString &value)
{
    QString text = value.trimmed();
    if (text.startsWith(u'"') && text.endsWith(u'"'))
        return text.mid(1, text.size() - 2);
    return text;
}
