#include "firmware/FirmwareControl.h"

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

TEST(FirmwareControlTest, ValuesAreUnquotedAndThoseThatAreMissingEmpty)
{
    const QTemporaryDir directory;
    writeFile(directory.filePath(u"control"_s), "VERSION=\"1.9\"\nDATE = today \nMIN_UPDATER_VERSION=3\n");

    const FirmwareControl control = readFirmwareControl(QDir(directory.path()));

    EXPECT_EQ(control.version, u"1.9"_s);
    EXPECT_EQ(control.date, u"today"_s);
    EXPECT_EQ(control.minUpdaterVer, u"3"_s);
    EXPECT_EQ(control.releasename, QString());
    EXPECT_EQ(control.svnversion, QString());
}

TEST(FirmwareControlTest, FileOfMoreThanEightKibibytesCountsAsMissing)
{
    const QTemporaryDir directory;
    const QByteArray entry = "MIN_UPDATER_VERSION=3\n#";

    for (const int size : {8192, 8193}) {
        writeFile(directory.filePath(u"control"_s), entry.leftJustified(size, 'x'));

        EXPECT_EQ(readFirmwareControl(QDir(directory.path())).minUpdaterVer, size == 8192 ? u"3"_s : QString());
    }
}

struct Row
{
    const char *title;
    QString version;
    QString generation; // of the updater; this one is 3
    QString minVersion;
    bool suits;
};

const Row rows[] = {
    {"just what is needed", u"1.9"_s, u"3"_s, u"1.9"_s, true},
    {"newer", u"2"_s, u"0"_s, u"1.9"_s, true},
    {"older", u"1.8"_s, u"3"_s, u"1.9"_s, false},
    {"version of two digits behind the point", u"1.10"_s, u"3"_s, u"1.9"_s, false},
    {"device without a limit", u"0.1"_s, u"3"_s, {}, true},
    {"limit that is no number", u"0"_s, u"3"_s, u"latest"_s, true},
    {"version that is no number", u"1.9.1"_s, u"3"_s, u"1"_s, false},
    {"version of two points where the limit is 0", u"1.9.1"_s, u"3"_s, u"0"_s, true},
    {"version that is no number, without a limit", u"x"_s, u"3"_s, {}, true},
    {"version nan", u"nan"_s, u"3"_s, u"1"_s, false},
    {"limit nan", u"-1"_s, u"3"_s, u"nan"_s, false},
    {"negative version without a limit", u"-1"_s, u"3"_s, {}, false},
    {"version beyond any number", u"1e99"_s, u"3"_s, u"1.9"_s, true},
    {"negative generation", u"2"_s, u"-1"_s, {}, true},
    {"newer updater", u"2"_s, u"4"_s, {}, false},
    {"generation that is no number", u"2"_s, u"three"_s, {}, false},
    {"generation with a fraction", u"2"_s, u"3.0"_s, {}, false},
    {"no generation", u"2"_s, {}, {}, false},
    {"generation beyond int", u"2"_s, u"4294967296"_s, {}, false},
};

TEST(FirmwareControlTest, SuitsTheDeviceOrNot)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);
        const FirmwareControl control{
            .version = row.version, .releasename = {}, .svnversion = {}, .minUpdaterVer = row.generation, .date = {}};
        EXPECT_EQ(suitsDevice(control, row.minVersion), row.suits);
    }
}

} // namespace
