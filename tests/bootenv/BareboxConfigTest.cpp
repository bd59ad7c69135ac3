// The store in memory: what its slots answer and change.

#include "bootenv/BareboxConfig.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QTemporaryDir>

using namespace Qt::StringLiterals;
using testing::UnorderedElementsAre;

namespace {

class BareboxConfigTest : public testing::Test
{
protected:
    QByteArray fileAfterSave()
    {
        config.save();
        return readFile(path);
    }

    QTemporaryDir directory;
    const QString path = directory.filePath(u"config"_s);
    const bool written = (writeFile(path, "#!/bin/sh\na=1\nb=\" 2 \"\n# end\n"), true);
    BareboxConfig config{nullptr, directory.path(), u"config"_s};
};

TEST_F(BareboxConfigTest, IsNamedAfterItsFile)
{
    EXPECT_EQ(config.objectName(), u"config"_s);
    EXPECT_EQ(BareboxConfig(nullptr, u"/etc/"_s, u"oztversion.conf"_s).objectName(), u"oztversion.conf"_s);
}

TEST_F(BareboxConfigTest, GivesAValueAsItStandsAndWithoutItsQuotes)
{
    EXPECT_EQ(config.get(u"a"_s), u"1"_s);
    EXPECT_EQ(config.get(u"b"_s), u"\" 2 \""_s);
    EXPECT_EQ(config.getTrimmed(u"a"_s), u"1"_s);
    EXPECT_EQ(config.getTrimmed(u"b"_s), u" 2 "_s);
}

TEST_F(BareboxConfigTest, UnknownNameReadsAsNull)
{
    for (const QString &name : {u"c"_s, u"A"_s, u"a "_s, u""_s, u"# end"_s}) {
        EXPECT_TRUE(config.get(name).isNull());
        EXPECT_TRUE(config.getTrimmed(name).isNull());
        EXPECT_FALSE(config.exists(name));
    }
}

TEST_F(BareboxConfigTest, ListsAllVariables)
{
    config.set(u"c"_s, u"3"_s);

    EXPECT_THAT(config.variableList(), UnorderedElementsAre(u"a"_s, u"b"_s, u"c"_s));
    EXPECT_EQ(config.getAll(), (QVariantMap{{u"a"_s, u"1"_s}, {u"b"_s, u"\" 2 \""_s}, {u"c"_s, u"3"_s}}));
}

TEST_F(BareboxConfigTest, SetChangesMemoryOnly)
{
    const QByteArray before = readFile(path);

    config.set(u"a"_s, u"changed"_s);
    config.set(u"c"_s, u"new"_s);

    EXPECT_EQ(config.get(u"a"_s), u"changed"_s);
    EXPECT_EQ(config.get(u"c"_s), u"new"_s);
    EXPECT_TRUE(config.exists(u"c"_s));
    EXPECT_EQ(readFile(path), before);
}

TEST_F(BareboxConfigTest, KnownVariableKeepsItsPlace)
{
    config.set(u"a"_s, u"changed"_s);

    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=changed\nb=\" 2 \"\n# end\n");
}

TEST_F(BareboxConfigTest, NewVariablesGoBehindAllElseInTheOrderOfTheirFirstSet)
{
    config.set(u"z"_s, u"1"_s);
    config.set(u"c"_s, u"2"_s);
    config.set(u"z"_s, u"3"_s);

    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=1\nb=\" 2 \"\n# end\nz=3\nc=2\n");
}

TEST_F(BareboxConfigTest, SyncSetSavesEveryChange)
{
    config.set(u"b"_s, u"2"_s);

    config.syncSet(u"a"_s, u"changed"_s);

    EXPECT_EQ(readFile(path), "#!/bin/sh\na=changed\nb=2\n# end\n");
}

TEST_F(BareboxConfigTest, EmptyNameKeepsItsFirstValue)
{
    config.set(u""_s, u"first"_s);
    config.set(u""_s, u"second"_s);

    EXPECT_EQ(config.get(u""_s), u"first"_s);
    EXPECT_TRUE(config.exists(u""_s));
    EXPECT_EQ(config.variableList().count(u""_s), 1);
    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=1\nb=\" 2 \"\n# end\n=first\n");
}

TEST_F(BareboxConfigTest, EmptyNameIsGoneAtTheNextReading)
{
    config.syncSet(u""_s, u"first"_s);

    const BareboxConfig next(nullptr, directory.path(), u"config"_s);

    EXPECT_FALSE(next.exists(u""_s));
}

TEST_F(BareboxConfigTest, OuterWhiteSpaceOfAValueIsStoredAndLostInTheFile)
{
    config.set(u"a"_s, u" 1 \t"_s);

    EXPECT_EQ(config.get(u"a"_s), u" 1 \t"_s);
    EXPECT_EQ(config.getTrimmed(u"a"_s), u"1"_s);
    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na= 1\nb=\" 2 \"\n# end\n");
}

TEST_F(BareboxConfigTest, LineFeedInAValueBreaksTheLineInTwo)
{
    config.syncSet(u"a"_s, u"1\nx=2\njunk"_s);
    EXPECT_EQ(readFile(path), "#!/bin/sh\na=1\nx=2\njunk\nb=\" 2 \"\n# end\n");

    const BareboxConfig next(nullptr, directory.path(), u"config"_s);

    EXPECT_EQ(next.get(u"a"_s), u"1"_s);
    EXPECT_EQ(next.get(u"x"_s), u"2"_s);
}

TEST_F(BareboxConfigTest, EmptyValueIsAValue)
{
    config.set(u"a"_s, u""_s);

    EXPECT_TRUE(config.exists(u"a"_s));
    EXPECT_EQ(config.get(u"a"_s), u""_s);
    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=\nb=\" 2 \"\n# end\n");
}

TEST_F(BareboxConfigTest, FileIsNotReadAgain)
{
    writeFile(path, "a=other\nc=3\n");

    EXPECT_EQ(config.get(u"a"_s), u"1"_s);
    EXPECT_FALSE(config.exists(u"c"_s));
    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=1\nb=\" 2 \"\n# end\n");
}

TEST_F(BareboxConfigTest, SaveRewritesAnUnchangedFile)
{
    writeFile(path, "");

    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=1\nb=\" 2 \"\n# end\n");
    EXPECT_EQ(fileAfterSave(), "#!/bin/sh\na=1\nb=\" 2 \"\n# end\n");
}

TEST_F(BareboxConfigTest, DestructionDiscardsUnsavedChanges)
{
    const QByteArray before = readFile(path);

    BareboxConfig(nullptr, directory.path(), u"config"_s).set(u"a"_s, u"lost"_s);

    EXPECT_EQ(readFile(path), before);
}

TEST_F(BareboxConfigTest, HoldsNoMoreThanOneAnswerCarries)
{
    constexpr int mebi = 1024 * 1024;
    const QString megabyte(mebi, u'x');
    for (int number = 0; number < 30; ++number)
        config.set(u"v"_s + QString::number(number), megabyte);
    EXPECT_EQ(config.variableList().size(), 2 + 30);

    config.set(u"one too many"_s, megabyte);
    config.set(u"a"_s, megabyte);

    EXPECT_FALSE(config.exists(u"one too many"_s));
    EXPECT_EQ(config.get(u"a"_s), u"1"_s);

    config.set(u"v0"_s, u""_s);
    config.set(u"a"_s, megabyte);

    EXPECT_EQ(config.get(u"a"_s), megabyte);
}

TEST_F(BareboxConfigTest, CharactersCountAsTheBusCarriesThem)
{
    const QString megabytes(10 * 1024 * 1024, u'\u4e2d');
    config.set(u"large"_s, megabytes);

    config.set(u"another"_s, megabytes);

    EXPECT_TRUE(config.exists(u"large"_s));
    EXPECT_FALSE(config.exists(u"another"_s));
}

TEST_F(BareboxConfigTest, ManySmallVariablesCountWithWhatTheBusPutsAroundThem)
{
    config.set(u"large"_s, QString(30 * 1024 * 1024, u'x'));

    for (int number = 0; number < 100'000; ++number)
        config.set(QString::number(number), {});

    EXPECT_GT(config.variableList().size(), 20'000);
    EXPECT_LT(config.variableList().size(), 30'000);
}

} // namespace
