#include "plc/PlcReset.h"

#include "fake/FakePlatform.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

const QString stopCall = u"Upstart.stop(\"codesys\", false)"_s;
const QString startCall = u"Upstart.start(\"codesys\", false)"_s;
const QString plcDirectory = u"/srv/codesys/"_s;

class PlcResetTest : public testing::Test
{
protected:
    void SetUp() override
    {
        removeAll(plcDirectory);
        ASSERT_TRUE(QDir().mkdir(plcDirectory));
        setHasCodesys(true);
        clearPlatformCalls();
    }
    void TearDown() override
    {
        onPlatformCall({});
        resetFakePlatform();
        removeAll(plcDirectory);
    }

    static QString removal(const QString &name)
    {
        return u"SystemEvent.codesysFileRemoved(\"%1\", \"/system\")"_s.arg(name);
    }
};

TEST_F(PlcResetTest, FilesGoWithAnEventEachAndThenTheRuntimeRestarts)
{
    for (const QString &name : {u"A.app"_s, u"A.crc"_s, u"B.app"_s})
        writeFile(plcDirectory + name, "x");

    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(QDir(plcDirectory).entryList(QDir::Files), QStringList());
    const QStringList calls = platformCallTexts();
    EXPECT_THAT(calls.first(3),
                testing::UnorderedElementsAre(removal(u"A.app"_s), removal(u"A.crc"_s), removal(u"B.app"_s)));
    EXPECT_EQ(calls.sliced(3), (QStringList{stopCall, startCall}));
}

TEST_F(PlcResetTest, HiddenFilesStay)
{
    writeFile(plcDirectory + u".A.app"_s, "x");

    EXPECT_TRUE(resetCodesys());

    EXPECT_TRUE(fileExists(plcDirectory + u".A.app"_s));
    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcResetTest, EventComesBeforeTheRemoval)
{
    writeFile(plcDirectory + u"A.app"_s, "x");
    QStringList seen;
    onPlatformCall([&](const PlatformCall &call) {
        seen.append(call.name + QString::number(fileExists(plcDirectory + u"A.app"_s)));
    });

    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(seen, (QStringList{u"SystemEvent.codesysFileRemoved1"_s, u"Upstart.stop0"_s, u"Upstart.start0"_s}));
}

TEST_F(PlcResetTest, WithoutFilesTheRuntimeRestartsAllTheSame)
{
    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcResetTest, WithoutTheDirectoryTheRuntimeRestartsAllTheSame)
{
    removeAll(plcDirectory);

    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcResetTest, WithoutARuntimeFilesGoAndNoJobIsTouched)
{
    writeFile(plcDirectory + u"A.app"_s, "x");
    setHasCodesys(false);

    EXPECT_FALSE(resetCodesys());

    EXPECT_EQ(platformCallTexts(), QStringList{removal(u"A.app"_s)});
    EXPECT_FALSE(fileExists(plcDirectory + u"A.app"_s));
}

TEST_F(PlcResetTest, OtherFilesStay)
{
    const QStringList others{u"codesys.lic"_s, u"qmz.cfg"_s, u"SysFileMap.cfg"_s, u"A.app.old"_s, u"app"_s};
    for (const QString &name : others)
        writeFile(plcDirectory + name, "x");

    EXPECT_TRUE(resetCodesys());

    EXPECT_THAT(QDir(plcDirectory).entryList(QDir::Files), testing::UnorderedElementsAreArray(others));
    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcResetTest, EntryThatCanNotBeRemovedIsToldAndStays)
{
    ASSERT_TRUE(QDir().mkpath(plcDirectory + u"D.app/inside"_s));

    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(platformCallTexts(), (QStringList{removal(u"D.app"_s), stopCall, startCall}));
    EXPECT_TRUE(fileExists(plcDirectory + u"D.app/inside"_s));
}

TEST_F(PlcResetTest, LinkGoesAndItsTargetStays)
{
    writeFile(u"/srv/target"_s, "x");
    ASSERT_TRUE(QFile::link(u"/srv/target"_s, plcDirectory + u"L.app"_s));

    EXPECT_TRUE(resetCodesys());

    EXPECT_EQ(QDir(plcDirectory).entryList(QDir::Files | QDir::System), QStringList());
    EXPECT_EQ(readFile(u"/srv/target"_s), "x");
    removeAll(u"/srv/target"_s);
}

TEST_F(PlcResetTest, RestartStopsAndStartsAlsoWithoutARuntime)
{
    setHasCodesys(false);

    restartCodesys();

    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

} // namespace
