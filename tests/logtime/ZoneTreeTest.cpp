#include "logtime/ZoneTree.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class ZoneTreeTest : public testing::Test
{
protected:
    ZoneTreeTest() { QDir().mkpath(root); }

    void addFile(const QString &name)
    {
        addDirectory(name.contains(u'/') ? name.section(u'/', 0, -2) : QString());
        writeFile(root + u'/' + name, {});
    }
    void addDirectory(const QString &name) { ASSERT_TRUE(QDir().mkpath(root + u'/' + name)); }
    void addLink(const QString &target, const QString &name) { ASSERT_TRUE(QFile::link(target, root + u'/' + name)); }

    QString text() { return zoneTreeText(root); }
    QJsonObject tree() { return QJsonDocument::fromJson(text().toUtf8()).object(); }

    QTemporaryDir directory;
    const QString root = directory.path() + u"/zones"_s;
};

TEST_F(ZoneTreeTest, EmptyRootHasNoMembers)
{
    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, MissingRootIsLikeAnEmptyOne)
{
    removeAll(root);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, FileInPlaceOfTheRootIsLikeAnEmptyOne)
{
    removeAll(root);
    writeFile(root, "no directory");

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, FilesAloneMakeNoMemberForSubdirectories)
{
    addFile(u"UTC"_s);
    addFile(u"CET"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[\"CET\",\"UTC\"]}"_s);
}

TEST_F(ZoneTreeTest, EmptySubdirectoryIsANode)
{
    addDirectory(u"Etc"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"subdirs\": [{\"path\":\"Etc\",\"selections\":[]}],\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, PathsAreRelativeToTheRoot)
{
    addFile(u"America/Indiana/Knox"_s);
    addFile(u"America/Lima"_s);
    addFile(u"Europe/Rome"_s);
    addFile(u"UTC"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"subdirs\": ["
                      "{\"path\":\"America\",\"subdirs\": ["
                      "{\"path\":\"America/Indiana\",\"selections\":[\"Knox\"]}],\"selections\":[\"Lima\"]},"
                      "{\"path\":\"Europe\",\"selections\":[\"Rome\"]}],\"selections\":[\"UTC\"]}"_s);
}

TEST_F(ZoneTreeTest, OrderIsByNameIgnoringCase)
{
    for (const QString &name : {u"b"_s, u"C"_s, u"a"_s, u"D"_s, u"_"_s, u"10"_s, u"9"_s}) {
        addFile(u"files/"_s + name);
        addDirectory(u"directories/"_s + name);
    }

    const QJsonArray subdirectories = tree()[u"subdirs"].toArray();
    const QJsonArray directories = subdirectories[0].toObject()[u"subdirs"].toArray();
    const QJsonArray files = subdirectories[1].toObject()[u"selections"].toArray();
    const QJsonArray expected{u"10"_s, u"9"_s, u"_"_s, u"a"_s, u"b"_s, u"C"_s, u"D"_s};
    EXPECT_EQ(files, expected);
    ASSERT_EQ(directories.size(), expected.size());
    for (qsizetype place = 0; place < expected.size(); ++place) {
        const QString path = u"directories/"_s + expected[place].toString();
        EXPECT_EQ(directories[place].toObject()[u"path"], path);
    }
}

TEST_F(ZoneTreeTest, ArrayIsClosedBehindNamesThatSortBeforeAPoint)
{
    addDirectory(u"+1"_s);
    addDirectory(u"!"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"subdirs\": [{\"path\":\"!\",\"selections\":[]},"
                      "{\"path\":\"+1\",\"selections\":[]}],\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, NamesAreNotEscaped)
{
    addFile(u"a\"b\\\n"_s);
    addFile(u"Zürich"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[\"a\"b\\\n\",\"Zürich\"]}"_s);
}

TEST_F(ZoneTreeTest, NameInNoEncodingIsLeftOut)
{
    const QByteArray place = QFile::encodeName(root) + "/\xff\xfe";
    ASSERT_EQ(::mkdir(place.constData(), 0755), 0);
    addFile(u"UTC"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[\"UTC\"]}"_s);
}

TEST_F(ZoneTreeTest, HiddenEntriesAreLeftOut)
{
    addFile(u".hidden"_s);
    addFile(u".git/config"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, LinksCountAsWhatTheyLeadTo)
{
    addFile(u"Europe/Dublin"_s);
    addLink(u"Europe/Dublin"_s, u"Eire"_s);
    addLink(u"Europe"_s, u"posix"_s);
    addLink(u"nowhere"_s, u"broken"_s);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"subdirs\": [{\"path\":\"Europe\",\"selections\":[\"Dublin\"]},"
                      "{\"path\":\"posix\",\"selections\":[\"Dublin\"]}],\"selections\":[\"Eire\"]}"_s);
}

TEST_F(ZoneTreeTest, FifosAreNoZones)
{
    ASSERT_EQ(::mkfifo(QFile::encodeName(root + u"/fifo"_s).constData(), 0666), 0);

    EXPECT_EQ(text(), u"{\"path\":\"\",\"selections\":[]}"_s);
}

TEST_F(ZoneTreeTest, LinkThatLeadsBackUpEndsWhereTheKernelFollowsNoFurther)
{
    addFile(u"region/city"_s);
    addLink(u"."_s, u"region/again"_s);

    const QString found = text();

    EXPECT_EQ(found.count(u"\"city\""_s), 41);
    EXPECT_FALSE(QJsonDocument::fromJson(found.toUtf8()).isNull());
}

TEST_F(ZoneTreeTest, AsDeepAsAPathCanBe)
{
    QByteArray place = QFile::encodeName(root);
    int depth = 0;
    while (::mkdir((place += "/d").constData(), 0755) == 0)
        ++depth;

    const QString found = text();

    EXPECT_GT(depth, 1900);
    EXPECT_EQ(found.count(u"\"path\""_s), depth + 1);
    EXPECT_TRUE(found.endsWith(u"]}],\"selections\":[]}"_s));
}

TEST_F(ZoneTreeTest, TenThousandFiles)
{
    QJsonArray expected;
    for (int number = 10'000; number < 20'000; ++number) {
        addFile(QString::number(number));
        expected.append(QString::number(number));
    }

    EXPECT_EQ(tree()[u"selections"], expected);
}

TEST_F(ZoneTreeTest, EachCallLooksAnew)
{
    addFile(u"UTC"_s);
    ASSERT_EQ(tree()[u"selections"], (QJsonArray{u"UTC"_s}));

    addFile(u"CET"_s);

    EXPECT_EQ(tree()[u"selections"], (QJsonArray{u"CET"_s, u"UTC"_s}));
}

TEST_F(ZoneTreeTest, TreeThatMultipliesByLinksHasAnEnd)
{
    for (int number = 0; number < 20; ++number)
        addFile(QString(200, u'x') + QString::number(number));
    for (const QString &name : {u"a"_s, u"b"_s, u"c"_s})
        addLink(root, name);

    const QString all = text();

    EXPECT_GE(all.size(), 4 * 1024 * 1024);
    EXPECT_LT(all.size(), 5 * 1024 * 1024);
    const QJsonObject top = QJsonDocument::fromJson(all.toUtf8()).object();
    EXPECT_EQ(top[u"selections"_s].toArray().size(), 20);
    EXPECT_EQ(top[u"subdirs"_s].toArray().size(), 1) << "no room was left for the others";
}

} // namespace
