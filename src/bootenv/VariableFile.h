#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

/** @file
 *  The lines of a variable file: the shell-style `name=value` text of which the boot loader's environment is made.
 *
 *  UTF-8, one entry a line, lines ended by a line feed. What stands behind a NUL byte in a line does not count. */

/** What a line holds. At most one of `comment` and `name` is not null; with both null the line is not kept. */
struct VariableFileLine
{
    QString comment; ///< the whole line, its ending included
    QString name;    ///< never empty
    QString value;   ///< without outer white space; quotes are part of it
};

/** Reads one line.
 *
 *  A comment begins with "#" in its very first column. A variable is any other line with "=" behind a name that is
 *  more than white space; the first "=" divides. Anything else (blank lines, text without "=") is not kept.
 *
 *  @param line the bytes of the line, with or without its line feed; any bytes */
[[nodiscard]] VariableFileLine parseVariableFileLine(QByteArrayView line);

/** The line that stands for a variable: `name=value`, outer white space taken off the whole, and a line feed. */
[[nodiscard]] QByteArray variableLine(const QString &name, const QString &value);

/** The line that stands for a comment: outer white space taken off, and a line feed. */
[[nodiscard]] QByteArray commentLine(const QString &comment);

/** A value without outer white space and without one pair of double quotes around it. A lone double quote is both
 *  ends of a pair and yields an empty text; inner quotes stay. */
[[nodiscard]] QString unquotedValue(const QString &value);
