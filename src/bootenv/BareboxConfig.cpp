#include "bootenv/BareboxConfig.h"

#include "base/RegularFile.h"
#include "bootenv/VariableFile.h"

#include <QDir>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** A system bus carries 32 MiB in one message, its header included, and cuts off who sends more. */
constexpr qsizetype maxSize = qsizetype{31} * 1024 * 1024;

/** What a variable takes in an answer of all of them, in bytes: both texts, and at most so much for their lengths, type
 *  and padding. */
qsizetype sizeInAnswer(const QString &name, const QString &value)
{
    constexpr qsizetype around = 32;
    return name.toUtf8().size() + value.toUtf8().size() + around;
}

} // namespace

BareboxConfig::BareboxConfig(QObject *parent, const QString &directory, const QString &fileName)
    : QObject(parent), filePath(QDir(directory).absoluteFilePath(fileName))
{
    setObjectName(fileName);

    const std::optional<QByteArray> content = readRegularFile(filePath);
    if (!content) {
        commentLines.insert(lineCount++, u"#!/bin/sh"_s);
        return;
    }
    rawContent = *content;
    parse();
}

void BareboxConfig::parse()
{
    for (qsizetype begin = 0; begin < rawContent.size(); ++lineCount) {
        const qsizetype lineFeed = rawContent.indexOf('\n', begin);
        const qsizetype end = lineFeed < 0 ? rawContent.size() : lineFeed + 1;
        const VariableFileLine line = parseVariableFileLine(QByteArrayView(rawContent).sliced(begin, end - begin));
        begin = end;

        if (!line.comment.isNull())
            commentLines.insert(lineCount, line.comment);
        else if (!line.name.isNull())
            set(line.name, line.value);
    }
}

void BareboxConfig::set(const QString &name, const QString &value)
{
    const auto known = variables.constFind(name);
    const bool isNew = known == variables.constEnd();
    if (!isNew && name.isEmpty())
        return;
    const qsizetype newSize = size + sizeInAnswer(name, value) - (isNew ? 0 : sizeInAnswer(name, *known));
    if (newSize > maxSize)
        return;

    size = newSize;
    if (isNew)
        variableLines.insert(lineCount++, name);
    variables.insert(name, value);
}

void BareboxConfig::syncSet(const QString &name, const QString &value)
{
    set(name, value);
    save();
}

QString BareboxConfig::get(const QString &name) const
{
    return variables.value(name);
}

QString BareboxConfig::getTrimmed(const QString &name) const
{
    const auto variable = variables.constFind(name);
    return variable == variables.constEnd() ? QString() : unquotedValue(*variable);
}

bool BareboxConfig::exists(const QString &name) const
{
    return variables.contains(name);
}

QStringList BareboxConfig::variableList() const
{
    return variableLines.values();
}

QVariantMap BareboxConfig::getAll() const
{
    QVariantMap all;
    for (auto variable = variables.constBegin(); variable != variables.constEnd(); ++variable)
        all.insert(variable.key(), variable.value());
    return all;
}

void BareboxConfig::save()
{
    QFile file;
    if (!openRegularFile(file, filePath, QIODevice::WriteOnly))
        return;

    // The old content is gone by now, so a failing write has nothing to fall back on and goes unreported.
    for (int slot = 0; slot < lineCount; ++slot) {
        if (const auto name = variableLines.constFind(slot); name != variableLines.constEnd())
            file.write(variableLine(*name, variables.value(*name)));
        else if (const auto comment = commentLines.constFind(slot); comment != commentLines.constEnd())
            file.write(commentLine(*comment));
    }

    file.flush();
    ::fsync(file.handle());
}
