#include "firmware/Reboot.h"

#include "fake/FakePlatform.h"
#include "network/NetworkInterface.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/Syncs.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString interfaces = u"/etc/network/interfaces"_s;
const QStringList story{u"Upstart.stop(\"dorlanserver\", false)"_s, u"SystemEvent.reboot(\"/\")"_s};

class RebootTest : public testing::Test
{
protected:
    RebootTest()
    {
        tools.add(u"shutdown"_s);
        tools.add(u"route"_s);
        resetFakePlatform();
    }

    FakeTools tools;
};

TEST_F(RebootTest, StopsTellsAndShutsDownInOrder)
{
    writeFile(u"/new_firmware"_s, "");
    QList<bool> markerThen;
    QStringList toolsThen;
    onPlatformCall([&](const PlatformCall &) {
        markerThen.append(fileExists(u"/new_firmware"_s));
        toolsThen += tools.calls();
    });

    rebootDevice();

    onPlatformCall({});
    EXPECT_EQ(platformCallTexts(), story);
    EXPECT_EQ(markerThen, (QList<bool>{true, false})) << "it goes between the job's stop and the event";
    EXPECT_EQ(toolsThen, QStringList()) << "it shut down before the event was raised";
    EXPECT_EQ(tools.calls(), QStringList{u"shutdown -r now"_s});
}

TEST_F(RebootTest, EverythingIsSyncedWhenTheMarkerHasGoneAndBeforeTheEvent)
{
    writeFile(u"/new_firmware"_s, "");
    QList<bool> markers;
    QList<QStringList> calls;
    {
        const LookAtSyncs look([&] {
            markers += fileExists(u"/new_firmware"_s);
            calls += platformCallTexts();
        });

        rebootDevice();
    }

    EXPECT_EQ(markers, QList<bool>{false});
    EXPECT_EQ(calls, QList<QStringList>{story.first(1)});
}

TEST_F(RebootTest, ShutdownThatTakesLongerThanHalfAMinuteGoesOn)
{
    const QTemporaryDir directory;
    const QString done = directory.filePath(u"done"_s);
    tools.add(u"shutdown"_s, "sleep 0.3; echo done >" + QFile::encodeName(done));
    {
        const Impatience impatience;

        rebootDevice();

        EXPECT_EQ(impatience.longestLimit(), 30);
        EXPECT_FALSE(fileExists(done));
    }
    EXPECT_TRUE(waitUntil([&] { return fileExists(done) && readFile(done) == "done\n"; }));
}

TEST_F(RebootTest, SavesThePortsSettingsFirst)
{
    QObject system;
    auto *const network = new NetworkInterface(&system);
    network->setObjectName(u"network"_s);
    QDBusConnection::systemBus().registerObject(u"/system"_s, &system, QDBusConnection::ExportChildObjects);
    removeAll(interfaces);
    clearPlatformCalls();

    rebootDevice();

    EXPECT_THAT(readFile(interfaces).toStdString(), testing::HasSubstr("iface eth0 inet dhcp"));
    EXPECT_EQ(platformCallTexts().first(), u"Upstart.stop(\"nmbd\", false)"_s);
    EXPECT_EQ(platformCallTexts().last(2), story);
}

TEST_F(RebootTest, WithoutShutdownTheRestIsDone)
{
    FakeTools none;
    none.hideAllOthers();
    const Messages messages;

    rebootDevice();

    EXPECT_EQ(platformCallTexts(), story);
    EXPECT_EQ(messages.texts(), QStringList{u"shutdown can't be started"_s});
}

} // namespace
