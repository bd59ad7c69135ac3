#include "bootenv/VariableFile.h"

#include "base/RegularFile.h"

VariableFileLine parseVariableFileLine(QByteArrayView line)
{
    const QString text = QString::fromUtf8(upToNul(line));
    if (text.startsWith(u'#'))
        return {.comment = text, .name = {}, .value = {}};

    const qsizetype divider = text.indexOf(u'=');
    if (divider <= 0)
        return {};
    const QString name = text.first(divider).trimmed();
    if (name.isEmpty())
        return {};
    return {.comment = {}, .name = name, .value = text.sliced(divider + 1).trimmed()};
}

QByteArray variableLine(const QString &name, const QString &value)
{
    const QString text = name + u'=' + value;
    return text.trimmed().toUtf8() + '\n';
}

QByteArray commentLine(const QString &comment)
{
    return comment.trimmed().toUtf8() + '\n';
}

QString unquotedValue(const QString &value)
{
    QString text = value.trimmed();
    if (text.startsWith(u'"') && text.endsWith(u'"'))
        return text.mid(1, text.size() - 2);
    return text;
}
