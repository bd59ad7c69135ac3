#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <optional>
#include <vector>

/** A variable file in memory: the shell-style `name=value` text of which the boot loader's environment is made.
 *
 *  UTF-8, one entry a line, lines ended by a line feed. What stands behind a NUL byte in a line does not count. A
 *  comment begins with "#" in its very first column. A variable is any other line with "=" behind a name that is more
 *  than white space; the first "=" divides, and white space around name and value does not count. Anything else (blank
 *  lines, text without "=") is not kept. Of a name that stands several times, the first place and the last value count.
 *
 *  Lines are kept as they lie in the file's bytes. Only what is set, or is not plain ASCII, has bytes of its own. */
class VariableFile
{
public:
    /** @param bytes of the file; without them it begins anew, with the line "#!/bin/sh" */
    explicit VariableFile(std::optional<QByteArray> bytes);
    Q_DISABLE_COPY_MOVE(VariableFile)

    [[nodiscard]] bool contains(const QString &name) const;
    /** @return the value as it stands, quotes included; null for an unknown name */
    [[nodiscard]] QString value(const QString &name) const;
    /** @return all names, in the order of the file */
    [[nodiscard]] QStringList names() const;

    /** Changes a variable. A new one goes behind everything else; a known one keeps its place. The variable with the
     *  empty name keeps its first value. Nothing changes where all of them would take more than 31 MiB in an answer on
     *  the bus. Nothing is checked: a name with "=" or a value with a line feed is written as it is. */
    void set(const QString &name, const QString &value);

    /** The file's text: comments and variables in their order, `name=value`, each line without outer white space. */
    [[nodiscard]] QByteArray toBytes() const;

private:
    struct Line
    {
        [[nodiscard]] bool isVariable() const { return nameSize >= 0; }
        [[nodiscard]] QByteArrayView name() const { return QByteArrayView(text).first(nameSize); }
        [[nodiscard]] QByteArrayView value() const { return QByteArrayView(text).sliced(nameSize + 1); }

        QByteArray text;         ///< a comment, or name, "=" and value
        qsizetype nameSize = -1; ///< of a variable
    };

    static Line variable(QByteArrayView name, QByteArrayView value);
    static Line variable(QLatin1StringView name, QLatin1StringView value);
    static Line variable(QStringView name, QStringView value);
    template <typename Text> void readLine(Text line);
    void setLine(const Line &line);

    QByteArray rawContent; // into which lines lead
    std::vector<Line> lines;
    QHash<QByteArrayView, std::size_t> places; // of the names, among the lines
    qsizetype size = 0;                        // of all variables in an answer
};

/** A value without outer white space and without one pair of double quotes around it. A lone double quote is both
 *  ends of a pair and yields an empty text; inner quotes stay. */
[[nodiscard]] QString unquotedValue(const QString &value);
