// The scan on its thread while everything else happens at once. Of most worth under ThreadSanitizer.

#include "fake/FakePlatform.h"
#include "firmware/NandUpdate.h"
#include "firmware/UpdateManagerFixture.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>

#include <libudev.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int firmwareCount = 200;
const QString firmwares = u"/srv/fwupdate/"_s;
const QString package = u"/srv/package"_s;

/** A record list with a device's scan behind it; the watched device is the loopback interface, which is always there.
 */
class FirmwareScanRaceTest : public UpdateManagerFixture
{
protected:
    FirmwareScanRaceTest()
    {
        removeAll(firmwares);
        resetFakePlatform();
        tools.add(u"shutdown"_s);
        for (int number = 0; number < firmwareCount; ++number)
            putFirmware(firmwares + u"fwupdate"_s + QString::number(number));
        putFirmware(u"/srv/made/firmware"_s);
        makePackage();
        manager = std::make_unique<FwUpdateSettings>(u"lo"_s, nullptr);
        manager->setProperty("onlyUploadFirmware", true);
    }

    ~FirmwareScanRaceTest() override
    {
        udev_device_unref(device);
        udev_unref(context);
    }

    static void putFirmware(const QString &directory)
    {
        writeFile(directory + u"/control"_s, "VERSION=\"4.3\"\nRELEASENAME=\"Harvest\"\nMIN_UPDATER_VERSION=3\n");
        for (const QString &name : {u"linuximage"_s, u"root.ubi"_s}) {
            writeFile(directory + u'/' + name, "image\n");
            writeFile(directory + u'/' + name + u".md5"_s, "4802fbf3b34e20e20b5d6a63c3e9e3a6  image\n");
        }
    }

    static void makePackage()
    {
        const QString sums = u"cd /srv/made/firmware && for i in linuximage root.ubi; do md5sum $i >$i.md5; done && "
                             "tar -C /srv/made -czf /srv/package firmware"_s;
        ASSERT_EQ(QProcess::execute(u"sh"_s, {u"-c"_s, sums}), 0);
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
    const auto onDisk = [] { return QDir(firmwares).entryList({u"fwupdate*"_s}, QDir::Dirs).size(); };
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
