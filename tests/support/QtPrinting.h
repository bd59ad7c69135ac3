#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <ostream>

/** @file
 *  How GoogleTest shows Qt's texts when an expectation fails. Include it in every test that compares them. */

inline void PrintTo(const QString &text, std::ostream *out)
{
    if (text.isNull())
        *out << "null";
    else
        *out << '"' << text.left(1000).toUtf8().constData() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.left(1000).toPercentEncoding(" !\"#$&'()*+,/:;<=>?@[\\]^`{|}\n").constData() << '"';
}

inline void PrintTo(const QStringList &texts, std::ostream *out)
{
    *out << '[';
    for (const QString &text : texts) {
        PrintTo(text, out);
        *out << ' ';
    }
    *out << ']';
}
