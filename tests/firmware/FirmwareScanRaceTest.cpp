// The scan on its thread while everything else happens at once. Of most worth under ThreadSanitizer.

#include "FirmwareOnDisk.h"

#include "fake/FakePlatform.h"
#include "firmware/NandUpdate.h"
#include "firmware/UpdateManagerFixture.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

#include <libudev.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int firmwareCount = 200;
const QString package = u"/srv/package"_s;

/** A record list with a device's scan behind it; the watched device is the loopback interface, which is always there.
 */
class FirmwareScanRaceTest : public UpdateManagerFixture
{
protected:
    FirmwareScanRaceTest()
    {
        removeAll(firmwareDirectories);
        resetFakePlatform();
        tools.add(u"shutdown"_s);
        for (int number = 0; number < firmwareCount; ++number)
            putFirmware(firmwareDirectories + u"fwupdate"_s + QString::number(number));
        putFirmware(u"/srv/made/firmware"_s);
        packFirmware(u"/srv/made"_s, package);
        manager = std::make_unique<FwUpdateSettings>(u"lo"_s, nullptr);
        manager->setProperty("onlyUploadFirmware", true);
    }

    ~FirmwareScanRaceTest() override
    {
        udev_device_unref(device);
        udev_unref(context);
    }

    void tell(const char *slot) { QMetaObject::invokeMethod(manager.get(), slot, Q_ARG(udev_device *, device)); }

    static void upload(int number)
    {
        const QString path = u"/srv/upload%1-fwupdate"_s.arg(number);
        QFile::copy(package, path);
        QDBusMessage signal = QDBusMessage::createSignal(u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s);
        signal << path << u"update.qmz"_s;
        QDBusConnection::systemBus().send(signal);
    }

    QList<NandUpdate *> records() const { return manager->findChildren<NandUpdate *>(); }

    static qsizetype endsOfIntake()
    {
        return platformCallTexts().filter(u"SysCfgAccess.startLedEffect(60, 5)"_s).size();
    }

    udev *context = udev_new();
    udev_device *device = udev_device_new_from_syspath(context, "/sys/class/net/lo");
};

TEST_F(FirmwareScanRaceTest, ScansUploadsDeletionsAndMountsAtTheSameTime)
{
    constexpr int rounds = 20;

    for (int round = 0; round < rounds; ++round) {
        Q_EMIT manager->scan();
        upload(round);
        QCoreApplication::processEvents();
        if (round % 5 == 1)
            tell("removeBlock");
        if (round % 7 == 2)
            tell("addBlock");
        if (const auto listed = records(); round % 3 == 0 && !listed.isEmpty())
            listed.last()->deleteFw();
        EXPECT_TRUE(manager->jsonFwUpdates().endsWith(u']'));
    }
    ASSERT_TRUE(waitUntil([] { return endsOfIntake() == rounds; }));

    // When all is quiet, the list is what a scan finds.
    tell("removeBlock");
    ASSERT_TRUE(waitUntil([this] { return records().isEmpty(); }));
    manager.reset();
    construct();
    const auto onDisk = [] { return QDir(firmwareDirectories).entryList({u"fwupdate*"_s}, QDir::Dirs).size(); };
    ASSERT_TRUE(waitUntil([&] { return records().size() == onDisk(); }));
    EXPECT_GT(onDisk(), firmwareCount / 2);
    EXPECT_EQ(manager->jsonFwUpdates().count(u"\"path\""_s), onDisk());
}

TEST_F(FirmwareScanRaceTest, ManagerCanGoWhileItsScanRuns)
{
    for (int round = 0; round < 10; ++round) {
        Q_EMIT manager->scan();
        manager.reset();
        construct();
    }
}

} // namespace
