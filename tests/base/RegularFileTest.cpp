// What is read from files and written to them.

#include "base/RegularFile.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/mount.h>

using namespace Qt::StringLiterals;

namespace {

class RegularFileTest : public testing::Test
{
protected:
    QTemporaryDir directory;
    const QString path = directory.filePath(u"file"_s);
};

TEST_F(RegularFileTest, AllBytesAreReadBack)
{
    const QList<QByteArray> contents{"", "one line\n", QByteArray("a\0b\xff\r\n", 6), QByteArray(5'000'000, 'x')};

    for (const QByteArray &content : contents) {
        EXPECT_TRUE(writeRegularFile(path, content));
        EXPECT_EQ(readRegularFile(path), content);
    }
}

TEST_F(RegularFileTest, ShorterContentLeavesNothingOfALongerOne)
{
    writeFile(path, "a long content");

    EXPECT_TRUE(writeRegularFile(path, "short"));

    EXPECT_EQ(readFile(path), "short");
}

TEST_F(RegularFileTest, WritingIsInPlace)
{
    writeFile(path, "old");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    QFile before(path);
    ASSERT_TRUE(before.open(QIODevice::ReadOnly));

    EXPECT_TRUE(writeRegularFile(path, "new"));

    EXPECT_EQ(before.readAll(), "new");
    EXPECT_EQ(QFile::permissions(path) & QFile::ReadOther, QFile::Permissions());
}

TEST_F(RegularFileTest, FullDiskIsAFailure)
{
    ASSERT_EQ(::mount("small", qPrintable(directory.path()), "tmpfs", 0, "size=16k"), 0);

    EXPECT_FALSE(writeRegularFile(path, QByteArray(1'000'000, 'x')));
    EXPECT_FALSE(writeRegularFile(directory.filePath(u"other"_s), "a few bytes, which a buffer would take"));
    EXPECT_TRUE(writeRegularFile(path, "fits"));

    EXPECT_EQ(::umount(qPrintable(directory.path())), 0);
}

TEST_F(RegularFileTest, KernelFileIsReadThoughItsSizeIsZero)
{
    ASSERT_EQ(QFile(u"/proc/self/status"_s).size(), 0);

    const std::optional<QByteArray> content = readRegularFile(u"/proc/self/status"_s);

    ASSERT_TRUE(content);
    EXPECT_TRUE(content->startsWith("Name:"));
    EXPECT_TRUE(content->endsWith('\n'));
}

TEST_F(RegularFileTest, FileOfALaterCenturyIsRead)
{
    writeFile(path, "content");
    ASSERT_EQ(QProcess::execute(u"touch"_s, {u"-d"_s, u"2200-01-01"_s, path}), 0);

    EXPECT_EQ(readRegularFile(path), "content");
}

TEST_F(RegularFileTest, FileThatIsTooLargeCannotBeReadButWritten)
{
    QFile sparse(path);
    ASSERT_TRUE(sparse.open(QIODevice::WriteOnly) && sparse.resize(maxFileBytes));
    EXPECT_EQ(readRegularFile(path).value_or(QByteArray()).size(), maxFileBytes);

    ASSERT_TRUE(sparse.resize(maxFileBytes + 1));

    EXPECT_FALSE(readRegularFile(path));
    QFile file;
    EXPECT_FALSE(openRegularFile(file, path, QIODevice::ReadWrite));
    EXPECT_EQ(QFileInfo(path).size(), maxFileBytes + 1);
    EXPECT_TRUE(writeRegularFile(path, "small"));
    EXPECT_EQ(readRegularFile(path), "small");
}

TEST(UpToNulTest, CutsAtTheFirstNul)
{
    EXPECT_EQ(upToNul("abc").toByteArray(), "abc");
    EXPECT_EQ(upToNul(QByteArrayView("a\0b\0c", 5)).toByteArray(), "a");
    EXPECT_EQ(upToNul(QByteArrayView("\0abc", 4)).toByteArray(), "");
    EXPECT_EQ(upToNul(QByteArrayView()).toByteArray(), "");
}

struct ValueRow
{
    const char *name;
    QByteArray content;
    QString value;
};

class ValueFileTest : public testing::TestWithParam<ValueRow>
{
};

TEST_P(ValueFileTest, IsReadAsTheValue)
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(u"value"_s);
    writeFile(path, GetParam().content);

    const std::optional<QString> value = readValueFile(path);

    ASSERT_TRUE(value);
    EXPECT_EQ(*value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Contents, ValueFileTest,
                         testing::Values(ValueRow{"Plain", "qmz", u"qmz"_s}, ValueRow{"LineFeed", "qmz\n", u"qmz"_s},
                                         ValueRow{"WhiteSpaceAround", " \t\r\n qmz\v\f \r\n", u"qmz"_s},
                                         ValueRow{"WhiteSpaceInside", "a b\nc\n", u"a b\nc"_s},
                                         ValueRow{"CutAtNul", QByteArray("qmz\0tail", 8), u"qmz"_s},
                                         ValueRow{"NulFirst", QByteArray("\0qmz", 4), u""_s},
                                         ValueRow{"TrimmedBeforeTheCut", QByteArray("qmz \0tail\n", 10), u"qmz "_s},
                                         ValueRow{"Empty", "", u""_s}, ValueRow{"OnlyWhiteSpace", " \n\t\n", u""_s},
                                         ValueRow{"NonAscii", "ger\xc3\xa4t\n", u"gerät"_s},
                                         ValueRow{"DamagedUtf8",
                                                  "a\xff"
                                                  "b\n",
                                                  u"a\uFFFDb"_s}),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace
