// What stands below the place of the firmwares around the unpacking of a package.

#include "firmware/PackageGuard.h"

#include "FirmwareOnDisk.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** A file descriptor that closes itself. */
class Descriptor
{
public:
    explicit Descriptor(int opened) : number(opened) { EXPECT_GE(opened, 0); }
    ~Descriptor() { ::close(number); }
    Q_DISABLE_COPY(Descriptor)
    operator int() const { return number; }

private:
    int number;
};

class PackageGuardTest : public testing::Test
{
protected:
    PackageGuardTest()
    {
        clear();
        putFirmware(firmwareDirectories + u"fwupdate0"_s);
    }
    ~PackageGuardTest() override { clear(); }

    /** By a tool that goes to any depth. */
    static void clear() { ASSERT_EQ(QProcess::execute(u"rm"_s, {u"-rf"_s, firmwareDirectories}), 0); }

    static QStringList names() { return QDir(firmwareDirectories).entryList(everything, QDir::Name); }
    static QStringList names(const QString &firmware)
    {
        return QDir(firmwareDirectories + firmware).entryList(everything, QDir::Name);
    }

    /** Lays a link below more directories than a path can name. */
    static void putLinkFarBelow(const QByteArray &top)
    {
        const QByteArray name(200, 'd');
        const QByteArray start = QFile::encodeName(firmwareDirectories) + top;
        ::mkdir(start.constData(), 0755);
        int directory = ::open(start.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < 30; ++level) {
            const Descriptor above(directory);
            ASSERT_EQ(::mkdirat(above, name.constData(), 0755), 0);
            directory = ::openat(above, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        }
        deepest.emplace(directory);
        ASSERT_EQ(::symlinkat("/etc", *deepest, "out"), 0);
    }
    static bool isLinkStillThere()
    {
        struct stat status = {};
        return ::fstatat(*deepest, "out", &status, AT_SYMLINK_NOFOLLOW) == 0;
    }
    void TearDown() override { deepest.reset(); }

    static constexpr QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    static inline std::optional<Descriptor> deepest;
    PackageGuard guard;
};

TEST_F(PackageGuardTest, LinkThatLeadsOutGoesBeforeAPackageIsUnpackedHoweverDeepItLies)
{
    putLinkFarBelow("fwupdate0");

    guard.beforeUnpacking();

    EXPECT_FALSE(isLinkStillThere());
    EXPECT_TRUE(fileExists(firmwareDirectories + u"fwupdate0/control"_s));
}

TEST_F(PackageGuardTest, WhatCameBesideTheFirmwareGoesHoweverDeepItIs)
{
    guard.beforeUnpacking();
    putLinkFarBelow("stranger");
    writeFile(firmwareDirectories + u"firmware/control"_s, "a=1\n");
    writeFile(firmwareDirectories + u"fwupdate1/control"_s, "a=1\n");

    guard.afterUnpacking({u"fwupdate1"_s});

    EXPECT_EQ(names(), (QStringList{u"firmware"_s, u"fwupdate0"_s, u"fwupdate1"_s}));
}

TEST_F(PackageGuardTest, WhatNoFirmwareMayHoldGoesFromThoseThatStoodThere)
{
    guard.beforeUnpacking();
    const QStringList good = names(u"fwupdate0"_s);
    const QByteArray place = QFile::encodeName(firmwareDirectories) + "fwupdate0/";
    ASSERT_EQ(::symlink("/srv", (place + "public").constData()), 0);
    ASSERT_EQ(::mkfifo((place + "pipe").constData(), 0644), 0);
    writeFile(firmwareDirectories + u"fwupdate0/shell"_s, "#!/bin/sh\n");
    ASSERT_EQ(::chmod((place + "shell").constData(), 04755), 0);

    guard.afterUnpacking({});

    EXPECT_EQ(names(u"fwupdate0"_s), good);
}

TEST_F(PackageGuardTest, WhatNoFirmwareMayHoldGoesHoweverLargeItIs)
{
    guard.beforeUnpacking();
    const QStringList good = names(u"fwupdate0"_s);
    const QString shell = firmwareDirectories + u"fwupdate0/shell"_s;
    writeFile(shell, "#!/bin/sh\n");
    ASSERT_TRUE(QFile::resize(shell, qint64{5} * 1024 * 1024 * 1024));
    ASSERT_EQ(::chmod(qPrintable(shell), 04755), 0);

    guard.afterUnpacking({});

    EXPECT_EQ(names(u"fwupdate0"_s), good);
}

TEST_F(PackageGuardTest, PlaceKeepsItsOwnerAndMode)
{
    const QByteArray place = QFile::encodeName(firmwareDirectories);
    ASSERT_EQ(::chmod(place.constData(), 0750), 0);
    guard.beforeUnpacking();
    ASSERT_EQ(::chmod(place.constData(), 0777), 0);
    ASSERT_EQ(::chown(place.constData(), 1000, 1000), 0);

    guard.afterUnpacking({});

    struct stat status = {};
    ASSERT_EQ(::stat(place.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750U);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_gid, 0U);
}

TEST_F(PackageGuardTest, WhatAPartitionBringsThatIsMountedMeanwhileStays)
{
    const QByteArray place = QFile::encodeName(firmwareDirectories);
    ASSERT_EQ(::chmod(place.constData(), 0750), 0);
    guard.beforeUnpacking();
    ASSERT_EQ(::mount("tmpfs", place.constData(), "tmpfs", 0, "mode=0711"), 0);
    putFirmware(firmwareDirectories + u"fwupdate7"_s);
    ASSERT_EQ(::symlink("/etc", (place + "fwupdate7/out").constData()), 0);

    guard.afterUnpacking({});

    const QStringList found = names();
    const QStringList inside = names(u"fwupdate7"_s);
    struct stat status = {};
    EXPECT_EQ(::stat(place.constData(), &status), 0);
    ASSERT_EQ(::umount(place.constData()), 0);
    EXPECT_EQ(found, QStringList{u"fwupdate7"_s});
    EXPECT_TRUE(inside.contains(u"out"_s));
    EXPECT_EQ(status.st_mode & 07777, 0711U);
}

TEST_F(PackageGuardTest, WhatStandsInAPlaceThatComesMeanwhileStays)
{
    guard.beforeUnpacking();
    clear();
    guard.beforeUnpacking();
    putFirmware(firmwareDirectories + u"fwupdate7"_s);

    guard.afterUnpacking({});

    EXPECT_EQ(names(), QStringList{u"fwupdate7"_s});
}

TEST_F(PackageGuardTest, WithoutAPlaceThereIsNothingToDo)
{
    clear();

    guard.beforeUnpacking();
    guard.afterUnpacking({});

    EXPECT_FALSE(QDir(firmwareDirectories).exists());
}

} // namespace
