#include "system/SystemFixture.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;

namespace {

const QString recordPath = u"/etc/oztversion.conf"_s;

class SystemVersionRecordTest : public SystemFixture
{
protected:
    void startWith(const QByteArray &record)
    {
        writeFile(recordPath, record);
        start();
    }
};

TEST_F(SystemVersionRecordTest, EachPropertyHasItsEntry)
{
    startWith("# image\nVERSION=4.2.0\nSVNVERSION=11411\nGITHASH=58a24f\nRELEASENAME=autumn\nBUILDTIME=today\n"
              "GITVERSION=other\n");

    EXPECT_EQ(system->property("oztversion"), u"4.2.0"_s);
    EXPECT_EQ(system->property("oztsvnversion"), u"11411"_s);
    EXPECT_EQ(system->property("oztgitversion"), u"11411"_s);
    EXPECT_EQ(system->property("oztgithash"), u"58a24f"_s);
    EXPECT_EQ(system->property("oztReleasename"), u"autumn"_s);
    EXPECT_EQ(system->property("oztBuildtime"), u"today"_s);
}

TEST_F(SystemVersionRecordTest, ValueLosesOnePairOfQuotesAndOuterWhiteSpace)
{
    startWith("VERSION = \"4.2.0\" \nSVNVERSION=\"11411\nGITHASH= \" 58a \"\nRELEASENAME=\"\nBUILDTIME=\"\"a\"\"\n");

    EXPECT_EQ(system->oztversion(), u"4.2.0"_s);
    EXPECT_EQ(system->oztsvnversion(), u"\"11411"_s);
    EXPECT_EQ(system->oztgitversion(), u"\"11411"_s);
    EXPECT_EQ(system->oztgithash(), u" 58a "_s);
    EXPECT_EQ(system->oztReleasename(), u""_s);
    EXPECT_EQ(system->oztBuildtime(), u"\"a\""_s);
}

TEST_F(SystemVersionRecordTest, MissingEntriesAreEmpty)
{
    startWith("#VERSION=1\n=2\nSVNVERSION\nversion=3\nGITHASH=\n");

    for (const char *property : {"oztversion", "oztsvnversion", "oztgitversion", "oztgithash", "oztReleasename"})
        EXPECT_EQ(system->property(property).toString(), u""_s) << property;
}

TEST_F(SystemVersionRecordTest, MissingFileIsEmptyAndNotMade)
{
    removeAll(recordPath);

    start();

    for (const char *property : {"oztversion", "oztsvnversion", "oztgitversion", "oztgithash", "oztReleasename"})
        EXPECT_EQ(system->property(property).toString(), u""_s) << property;
    EXPECT_FALSE(fileExists(recordPath));
}

TEST_F(SystemVersionRecordTest, RecordIsReadOnce)
{
    startWith("VERSION=1\n");

    writeFile(recordPath, "VERSION=2\n");

    EXPECT_EQ(system->oztversion(), u"1"_s);
}

TEST_F(SystemVersionRecordTest, RecordCannotBeChanged)
{
    startWith("VERSION=1\n");

    EXPECT_FALSE(system->setProperty("oztversion", u"2"_s));

    EXPECT_EQ(system->oztversion(), u"1"_s);
    EXPECT_EQ(readFile(recordPath), "VERSION=1\n");
}

} // namespace
