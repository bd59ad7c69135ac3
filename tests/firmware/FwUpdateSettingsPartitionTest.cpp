// The device of the data partition comes ahead of its mount.

#include "firmware/UpdateManagerFixture.h"
#include "support/BindMount.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QElapsedTimer>
#include <QSignalSpy>

#include <libudev.h>

using namespace Qt::StringLiterals;

namespace {

/** An update manager on a first start. The device that it watches is the loopback interface, which is always there, and
 *  the test says what is mounted. */
class FwUpdateSettingsPartitionTest : public UpdateManagerFixture
{
protected:
    void SetUp() override
    {
        writeFile(flashFile(u"factory_init"_s), "");
        manager = std::make_unique<FwUpdateSettings>(u"lo"_s, nullptr);
        tools.clearCalls();
    }
    ~FwUpdateSettingsPartitionTest() override
    {
        udev_device_unref(device);
        udev_unref(context);
    }

    void addDevice() { QMetaObject::invokeMethod(manager.get(), "addBlock", Q_ARG(udev_device *, device)); }
    void mountPartition() const { writeFile(mounts, "ubi1:srv /srv ubifs rw 0 0\n"); }

private:
    static QString emptyFile(const QString &path)
    {
        writeFile(path, "");
        return path;
    }

    udev *context = udev_new();
    udev_device *device = udev_device_new_from_syspath(context, "/sys/class/net/lo");
    const QTemporaryDir directory;
    const QString mounts = emptyFile(directory.filePath(u"mounts"_s));
    const BindMount shown{mounts, u"/proc/mounts"_s};
};

TEST_F(FwUpdateSettingsPartitionTest, DeviceThatIsAddedTwiceHasTheStartsWorkDoneTwiceAndTwoScans)
{
    QSignalSpy scans(manager.get(), &FwUpdateSettings::scan);

    addDevice();
    addDevice();
    EXPECT_EQ(tools.calls(), QStringList());
    mountPartition();

    ASSERT_TRUE(waitUntil([&] { return scans.count() == 2; }));
    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage, erasure, storage}));
}

TEST_F(FwUpdateSettingsPartitionTest, MountIsLookedForHalfASecondAfterTheDevice)
{
    QSignalSpy scans(manager.get(), &FwUpdateSettings::scan);
    mountPartition();
    QElapsedTimer timer;
    timer.start();

    addDevice();

    ASSERT_TRUE(waitUntil([&] { return scans.count() == 1; }));
    EXPECT_GE(timer.elapsed(), 450); // timers may come a twentieth too early
}

} // namespace
