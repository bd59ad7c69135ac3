// Files made up at random, the same ones at each run, together with what has to be read and saved of them.

#include "bootenv/BareboxConfig.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

/** A file line by line, and next to it the truth about it. */
class RandomFile
{
public:
    explicit RandomFile(quint32 seed) : random(seed)
    {
        const int lines = random.bounded(60);
        for (int line = 0; line < lines; ++line)
            addLine();
        if (random.bounded(4) == 0 && content.endsWith('\n'))
            content.chop(1);
    }

    QByteArray saved() const
    {
        QByteArray expected;
        for (const Entry &entry : entries)
            expected += entry.comment.isNull() ? (entry.name + u'=' + values[entry.name]).toUtf8() : entry.comment;
        return expected;
    }

    QByteArray content;
    QVariantMap variables;

private:
    struct Entry
    {
        QByteArray comment;
        QString name;
    };

    void addLine()
    {
        switch (random.bounded(6)) {
        case 0:
            return addComment();
        case 1:
            return addDroppedLine();
        default:
            return addVariable();
        }
    }

    void addComment()
    {
        const QByteArray text = '#' + word().toUtf8();
        content += text + white() + lineEnd();
        entries.append({.comment = text + '\n', .name = {}});
    }

    void addDroppedLine()
    {
        const QList<QByteArray> forms{"", "junk", "=v", " =v", "\t", " #x", QByteArray("\0a=1", 4), "no divider \xff"};
        content += forms[random.bounded(forms.size())] + lineEnd();
    }

    void addVariable()
    {
        const QString name = u"name"_s + QString::number(random.bounded(20));
        const QString value = word();
        content +=
            white() + name.toUtf8() + white() + '=' + white() + value.toUtf8() + white() + afterNul() + lineEnd();
        if (!values.contains(name))
            entries.append({.comment = {}, .name = name});
        values[name] = value + u'\n';
        variables[name] = value;
    }

    /** Text that begins and ends with something else than white space, or is empty. */
    QString word()
    {
        const QStringList pieces{u"a"_s,   u"1.2"_s,  u"\""_s, u"="_s, u"#"_s,
                                 u"x y"_s, u"x\ty"_s, u"ö€"_s, u"🔧"_s, u"$(sh)"_s};
        QString text;
        for (int count = random.bounded(5); count > 0; --count)
            text += pieces[random.bounded(pieces.size())];
        return text;
    }

    QByteArray white()
    {
        const QList<QByteArray> forms{"", "", " ", "\t", "  ", "\r"};
        return forms[random.bounded(forms.size())];
    }

    QByteArray afterNul() { return random.bounded(5) == 0 ? QByteArray("\0ignored=2", 10) : QByteArray(); }

    QByteArray lineEnd() { return random.bounded(3) == 0 ? "\r\n" : "\n"; }

    QRandomGenerator random;
    QList<Entry> entries;
    QHash<QString, QString> values; // with the line feed
};

class BareboxConfigRoundTripTest : public testing::TestWithParam<quint32>
{
protected:
    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
    const RandomFile file{GetParam()};
    const bool written = (writeFile(path, file.content), true);
    BareboxConfig config{nullptr, directory.path(), u"file"_s};
};

TEST_P(BareboxConfigRoundTripTest, EveryVariableIsReadWithItsLastValue)
{
    EXPECT_EQ(config.getAll(), file.variables);

    QStringList names = config.variableList();
    names.sort();
    EXPECT_EQ(names, file.variables.keys());
}

TEST_P(BareboxConfigRoundTripTest, SavingKeepsTheOrderOfCommentsAndVariables)
{
    config.save();

    EXPECT_EQ(readFile(path), file.saved());
}

TEST_P(BareboxConfigRoundTripTest, WhatWasSavedReadsBackTheSame)
{
    config.save();

    const BareboxConfig next(nullptr, directory.path(), u"file"_s);

    EXPECT_EQ(next.getAll(), config.getAll());
}

TEST_P(BareboxConfigRoundTripTest, SavingAgainGivesTheSameBytes)
{
    config.save();
    const QByteArray first = readFile(path);

    config.save();
    EXPECT_EQ(readFile(path), first);
    BareboxConfig(nullptr, directory.path(), u"file"_s).save();

    EXPECT_EQ(readFile(path), first);
}

INSTANTIATE_TEST_SUITE_P(Seeds, BareboxConfigRoundTripTest, testing::Range(1U, 101U));

} // namespace
