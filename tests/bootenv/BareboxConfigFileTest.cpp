// The file: what is read of it, and what the next save makes of it.

#include "bootenv/BareboxConfig.h"

#include "support/QtPrinting.h"
#include "support/Syncs.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

struct File
{
    const char *name;
    QByteArray content;
    QByteArray saved;
};

class BareboxConfigFileTest : public testing::TestWithParam<File>
{
protected:
    QByteArray fileAfterSaving(const QByteArray &content)
    {
        writeFile(path, content);
        BareboxConfig(nullptr, directory.path(), u"file"_s).save();
        return readFile(path);
    }

    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
};

TEST_P(BareboxConfigFileTest, IsSavedInTheSameOrderWithoutWhatIsNotKept)
{
    const QByteArray saved = fileAfterSaving(GetParam().content);

    EXPECT_EQ(saved, GetParam().saved);
    EXPECT_EQ(fileAfterSaving(saved), saved);
}

INSTANTIATE_TEST_SUITE_P(
    Files, BareboxConfigFileTest,
    testing::Values(File{"Empty", "", ""}, File{"OnlyBlankLines", "\n\n \n", ""},
                    File{"OnlyComments", "#a\n#b\n", "#a\n#b\n"},
                    File{"BlankLineAndJunk", "a=1\n\n#x\nb=\"2 3\"\njunk\n", "a=1\n#x\nb=\"2 3\"\n"},
                    File{"WithoutFinalLineFeed", "#x\na=1", "#x\na=1\n"},
                    File{"BlanksAroundTheDivider", "a = 1 \n", "a=1\n"}, File{"HashBehindABlank", " #x=1\n", "#x=1\n"},
                    File{"DividerFirst", "=value\na=1\n", "a=1\n"}, File{"NameOfBlanks", " =v\na=1\n", "a=1\n"},
                    File{"TwoDividers", "a==b\n", "a==b\n"}, File{"EmptyValue", "a=\n", "a=\n"},
                    File{"CommentWithTrailingBlanks", "#x \t\na=1\n", "#x\na=1\n"},
                    File{"DuplicateName", "a=1\n#x\nb=2\na=3\n", "a=3\n#x\nb=2\n"},
                    File{"DuplicateComment", "#x\na=1\n#x\n", "#x\na=1\n#x\n"},
                    File{"DuplicateWithBlanks", "a=1\n a =2\n", "a=2\n"},
                    File{"CarriageReturns", "#x\r\na=1\r\n\r\nb=2\r\n", "#x\na=1\nb=2\n"},
                    File{"OldMacLineEndings", "a=1\rb=2\r", "a=1\rb=2\n"},
                    File{"DamagedUtf8", "a=\xff\xfe\n\xc3=2\n", "a=\xef\xbf\xbd\xef\xbf\xbd\n\xef\xbf\xbd=2\n"},
                    File{"NulInALine", QByteArray("a=1\0 2\nb=3\n", 11), "a=1\nb=3\n"},
                    File{"OnlyNuls", QByteArray("\0\0\0", 3), ""},
                    File{"NonAscii", "a=\xc3\xa4\n#\xe2\x82\xac\n", "a=\xc3\xa4\n#\xe2\x82\xac\n"}),
    [](const auto &row) { return std::string(row.param.name); });

class BareboxConfigSaveTest : public BareboxConfigFileTest
{
};

TEST_F(BareboxConfigSaveTest, IsOnTheDiskWhenItReturns)
{
    writeFile(path, "a=1\n#x\n");
    BareboxConfig config(nullptr, directory.path(), u"file"_s);
    config.set(u"b"_s, u"2"_s);
    const qsizetype before = fileSyncsSoFar().size();
    QByteArrayList contents;
    {
        const LookAtSyncs look([&] { contents += readFile(path); });

        config.save();
    }

    EXPECT_EQ(fileSyncsSoFar().sliced(before), QStringList{path});
    EXPECT_EQ(contents, QByteArrayList{"a=1\n#x\nb=2\n"});
}

TEST_F(BareboxConfigSaveTest, NoDescriptorStaysBehind)
{
    const BareboxConfig made(nullptr, directory.path(), u"file"_s);
    const auto open = [] { return QDir(u"/proc/self/fd"_s).count(); };
    const auto before = open();

    for (int i = 0; i < 20; ++i)
        BareboxConfig(nullptr, directory.path(), u"file"_s).save();

    EXPECT_EQ(open(), before);
}

class BareboxConfigLargeFileTest : public BareboxConfigFileTest
{
};

TEST_F(BareboxConfigLargeFileTest, LinesOfAMegabyteAreReadWhole)
{
    const QByteArray name(1'000'000, 'n');
    const QByteArray value(1'000'000, 'v');
    const QByteArray content = '#' + value + '\n' + name + '=' + value + "\nb=2\n";

    EXPECT_EQ(fileAfterSaving(content), content);
}

TEST_F(BareboxConfigLargeFileTest, HundredThousandLinesKeepTheirOrder)
{
    QByteArray content;
    for (int line = 0; line < 50'000; ++line)
        content += "variable" + QByteArray::number(line) + "=\"" + QByteArray::number(line) + "\"\n# comment\n";

    EXPECT_EQ(fileAfterSaving(content), content);
}

TEST_F(BareboxConfigLargeFileTest, HundredThousandLinesOfOneNameAreOneVariable)
{
    QByteArray content;
    for (int line = 0; line < 100'000; ++line)
        content += "a=" + QByteArray::number(line) + '\n';

    EXPECT_EQ(fileAfterSaving(content), "a=99999\n");
}

TEST_F(BareboxConfigLargeFileTest, HundredThousandNewVariablesAreSavedInOrder)
{
    QByteArray expected = "#!/bin/sh\n";
    BareboxConfig config(nullptr, directory.path(), u"file"_s);
    for (int number = 0; number < 100'000; ++number) {
        config.set(QString::number(number), u"x"_s);
        expected += QByteArray::number(number) + "=x\n";
    }

    config.save();

    EXPECT_EQ(readFile(path), expected);
}

} // namespace
