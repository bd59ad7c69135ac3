// Backups that are put back, with the device's own tar.

#include "plc/PlcBackup.h"

#include "plc/PlcTest.h"
#include "support/Syncs.h"

#include <QProcess>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString stopCall = u"Upstart.stop(\"codesys\", false)"_s;
const QString startCall = u"Upstart.start(\"codesys\", false)"_s;

class PlcRestoreTest : public PlcTest
{
protected:
    PlcRestoreTest() { writeFile(configuration, "[CmpApp]\nApplication.1=Old\nx=y\n"); }

    QString archivePath() const { return temporary.filePath(u"backup"_s); }

    /** Packs the files below `source` into an archive. */
    QString pack(const QStringList &arguments) const
    {
        EXPECT_EQ(
            QProcess::execute(u"/bin/tar"_s, QStringList{u"-C"_s, source.path(), u"-czf"_s, archivePath()} + arguments),
            0);
        return archivePath();
    }
    QString packList(const QByteArray &list) const
    {
        writeFile(source.filePath(u"qmz.cfg"_s), list);
        return pack({u"."_s});
    }

    const QTemporaryDir temporary;
    const QTemporaryDir source;
};

TEST_F(PlcRestoreTest, BackupComesBackFileByFile)
{
    writeRuntimeFiles();
    removeAll(path(u"stranger"_s));
    QMap<QString, QByteArray> expected = tree(directory);
    expected[u"qmz.cfg"_s] = "35\nOne\nTwo\n";
    QString archive;
    {
        const FakePlcRuntime runtime({u"One"_s, u"Two"_s}, 35);
        archive = createCodesysTarball();
    }
    removeAll(directory);
    ASSERT_TRUE(QDir().mkdir(directory));

    EXPECT_TRUE(restoreCodesysFromTarball(archive));

    EXPECT_EQ(tree(directory), expected);
    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=One\nApplication.2=Two\nx=y\n");
    EXPECT_FALSE(fileExists(archive));
    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcRestoreTest, StopsRemovesUnpacksEntersAndStartsInThatOrder)
{
    write(u"Old.app"_s, "old");
    const QString archive = packList("35\nNew\n");
    tools.add(u"tar"_s, "exec /bin/tar \"$@\"\n");
    QStringList seen;
    onPlatformCall([&](const PlatformCall &call) {
        seen.append(toText(call) + u' ' + QString::number(fileExists(path(u"Old.app"_s))) +
                    QString::number(fileExists(archive)) + QString::number(tools.calls().size()) +
                    QString::number(readFile(configuration).contains("New")));
    });

    EXPECT_TRUE(restoreCodesysFromTarball(archive));
    onPlatformCall({});

    EXPECT_EQ(seen,
              (QStringList{stopCall + u" 1100"_s, u"SystemEvent.codesysFileRemoved(\"Old.app\", \"/loader\") 1100"_s,
                           startCall + u" 0011"_s}));
    EXPECT_EQ(tools.calls(), QStringList{u"tar -C /srv/codesys -xzf "_s + archive});
}

TEST_F(PlcRestoreTest, OldApplicationsGoWithAnEventEachAndOthersStay)
{
    for (const QString &name : {u"A.app"_s, u"A.crc"_s, u"B.app"_s, u"codesys.lic"_s, u"app"_s, u"C.app.old"_s})
        write(name, "old");
    write(u"visu/D.app"_s, "old");

    EXPECT_TRUE(restoreCodesysFromTarball(packList("35\n")));

    EXPECT_THAT(tree(directory).keys(),
                testing::UnorderedElementsAre(u"PlcLogic"_s, u"PlcLogic/sub"_s, u"visu"_s, u"visu/D.app"_s,
                                              u"codesys.lic"_s, u"app"_s, u"C.app.old"_s, u"qmz.cfg"_s));
    EXPECT_THAT(platformCallTexts(),
                testing::UnorderedElementsAre(stopCall, u"SystemEvent.codesysFileRemoved(\"A.app\", \"/loader\")"_s,
                                              u"SystemEvent.codesysFileRemoved(\"A.crc\", \"/loader\")"_s,
                                              u"SystemEvent.codesysFileRemoved(\"B.app\", \"/loader\")"_s, startCall));
}

TEST_F(PlcRestoreTest, EndOfALongerConfigurationStays)
{
    writeFile(configuration, "[CmpApp]\nApplication.1=AVeryLongName\nx=y\n");

    EXPECT_TRUE(restoreCodesysFromTarball(packList("35\nB\n")));

    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=B\nx=y\nongName\nx=y\n");
}

TEST_F(PlcRestoreTest, ConfigurationWithoutTheSectionStaysAndIsNoFailure)
{
    writeFile(configuration, "Application.1=a\n");

    EXPECT_TRUE(restoreCodesysFromTarball(packList("35\nNew\n")));

    EXPECT_EQ(readFile(configuration), "Application.1=a\n");
    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
}

TEST_F(PlcRestoreTest, MissingConfigurationIsMadeEmpty)
{
    removeAll(configuration);

    EXPECT_TRUE(restoreCodesysFromTarball(packList("35\nNew\n")));

    EXPECT_EQ(readFile(configuration), "");
}

TEST_F(PlcRestoreTest, UnopenedConfigurationFailsAndTheRuntimeStarts)
{
    for (const bool isFifo : {false, true}) {
        removeAll(u"/CODESYSControl"_s);
        if (isFifo) {
            ASSERT_TRUE(QDir().mkdir(u"/CODESYSControl"_s));
            ASSERT_EQ(::mkfifo(qPrintable(configuration), 0600), 0);
        }
        clearPlatformCalls();

        EXPECT_FALSE(restoreCodesysFromTarball(packList("35\nNew\n")));

        EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
        EXPECT_FALSE(fileExists(archivePath()));
    }
}

TEST_F(PlcRestoreTest, ArchiveWithoutListFailsAndTheRuntimeStarts)
{
    writeFile(source.filePath(u"New.app"_s), "new");

    EXPECT_FALSE(restoreCodesysFromTarball(pack({u"New.app"_s})));

    EXPECT_EQ(readFile(path(u"New.app"_s)), "new");
    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall}));
    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=Old\nx=y\n");
}

/** An archive that tar refuses. */
struct BadArchive
{
    const char *name;
    void (*put)(const QString &path);
};

class PlcBadArchiveTest : public PlcRestoreTest, public testing::WithParamInterface<BadArchive>
{
};

TEST_P(PlcBadArchiveTest, LeavesTheRuntimeStoppedAndItsApplicationsAndTheArchiveGone)
{
    write(u"Old.app"_s, "old");
    write(u"qmz.cfg"_s, "35\nNew\n");
    GetParam().put(archivePath());

    EXPECT_FALSE(restoreCodesysFromTarball(archivePath()));

    EXPECT_EQ(platformCallTexts(),
              (QStringList{stopCall, u"SystemEvent.codesysFileRemoved(\"Old.app\", \"/loader\")"_s}));
    EXPECT_FALSE(fileExists(path(u"Old.app"_s)));
    EXPECT_FALSE(fileExists(archivePath()));
    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=Old\nx=y\n");
}

INSTANTIATE_TEST_SUITE_P(
    Archives, PlcBadArchiveTest,
    testing::Values(BadArchive{"Missing", [](const QString &) {}},
                    BadArchive{"Empty", [](const QString &path) { writeFile(path, ""); }},
                    BadArchive{"Corrupt", [](const QString &path) { writeFile(path, QByteArray(100'000, '\x55')); }},
                    BadArchive{"CutOff",
                               [](const QString &path) {
                                   writeFile(u"/tmp/noise"_s, QByteArray(10, 'x'));
                                   QProcess::execute(u"/bin/tar"_s, {u"-C"_s, u"/tmp"_s, u"-czf"_s, path, u"noise"_s});
                                   const QByteArray whole = readFile(path);
                                   writeFile(path, whole.first(whole.size() / 2));
                               }},
                    BadArchive{"NotCompressed",
                               [](const QString &path) {
                                   writeFile(u"/tmp/noise"_s, "x");
                                   QProcess::execute(u"/bin/tar"_s, {u"-C"_s, u"/tmp"_s, u"-cf"_s, path, u"noise"_s});
                               }},
                    BadArchive{"Fifo", [](const QString &path) { ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0); }}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(PlcRestoreTest, DirectoryInTheArchivesPlaceFailsAndStays)
{
    EXPECT_FALSE(restoreCodesysFromTarball(temporary.path()));

    EXPECT_TRUE(QDir(temporary.path()).exists());
    EXPECT_EQ(platformCallTexts(), QStringList{stopCall});
}

TEST_F(PlcRestoreTest, WithoutTarFails)
{
    const QString archive = packList("35\nNew\n");
    tools.hideAllOthers();

    EXPECT_FALSE(restoreCodesysFromTarball(archive));

    EXPECT_FALSE(fileExists(archivePath()));
    EXPECT_EQ(platformCallTexts(), QStringList{stopCall});
}

TEST_F(PlcRestoreTest, KilledTarFails)
{
    tools.add(u"tar"_s, "kill -9 $$\n");

    EXPECT_FALSE(restoreCodesysFromTarball(packList("35\nNew\n")));

    EXPECT_EQ(platformCallTexts(), QStringList{stopCall});
}

/** A member of an archive whose name leads out of the runtime's directory. */
struct Escape
{
    const char *name;
    QStringList arguments; // of the tar that packs it
    QString target;
};

class PlcEscapeTest : public PlcRestoreTest, public testing::WithParamInterface<Escape>
{
};

TEST_P(PlcEscapeTest, WritesNothingOutside)
{
    removeAll(GetParam().target);
    writeFile(source.filePath(u"evil"_s), "evil");
    writeFile(source.filePath(u"qmz.cfg"_s), "35\n");
    const QString archive = pack(GetParam().arguments);
    QProcess listing;
    listing.start(u"/bin/tar"_s, {u"-Ptzf"_s, archive});
    ASSERT_TRUE(listing.waitForFinished());
    ASSERT_FALSE(listing.readAllStandardOutput().startsWith("evil"));

    static_cast<void>(restoreCodesysFromTarball(archive));

    EXPECT_FALSE(fileExists(GetParam().target));
    EXPECT_FALSE(fileExists(archive));
}

INSTANTIATE_TEST_SUITE_P(
    Names, PlcEscapeTest,
    testing::Values(
        Escape{"Upwards", {u"-P"_s, u"--transform=s,evil,../escaped,"_s, u"evil"_s}, u"/srv/escaped"_s},
        Escape{"UpwardsInside", {u"-P"_s, u"--transform=s,evil,visu/../../escaped,"_s, u"evil"_s}, u"/srv/escaped"_s},
        Escape{"Absolute", {u"-P"_s, u"--transform=s,evil,/srv/escaped,"_s, u"evil"_s}, u"/srv/escaped"_s}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(PlcRestoreTest, LinkThatLeadsOutsideIsNotFollowed)
{
    removeAll(u"/srv/outside"_s);
    ASSERT_TRUE(QDir().mkdir(u"/srv/outside"_s));
    ASSERT_TRUE(QFile::link(u"/srv/outside"_s, source.filePath(u"link"_s)));
    writeFile(source.filePath(u"evil"_s), "evil");
    const QString archive = pack({u"--transform=s,evil,link/evil,"_s, u"link"_s, u"evil"_s});

    static_cast<void>(restoreCodesysFromTarball(archive));

    EXPECT_EQ(tree(u"/srv/outside"_s), (QMap<QString, QByteArray>()));
    removeAll(u"/srv/outside"_s);
}

TEST_F(PlcRestoreTest, NameOfStandardInputIsAFile)
{
    write(u"qmz.cfg"_s, "35\nNew\n");
    tools.add(u"tar"_s);

    EXPECT_TRUE(restoreCodesysFromTarball(u"-"_s));

    EXPECT_EQ(tools.calls(), QStringList{u"tar -C /srv/codesys -xzf ./-"_s});
}

TEST_F(PlcRestoreTest, EnteredApplicationsAreSyncedBeforeTheRuntimeStarts)
{
    QByteArrayList configurations;
    QList<QStringList> calls;
    const QString archive = packList("35\nOne\n");
    {
        const LookAtSyncs look([&] {
            configurations += readFile(configuration);
            calls += platformCallTexts();
        });

        EXPECT_TRUE(restoreCodesysFromTarball(archive));
    }

    ASSERT_FALSE(configurations.isEmpty());
    EXPECT_EQ(configurations.last(), "[CmpApp]\nApplication.1=One\nx=y\n");
    EXPECT_EQ(calls.last(), QStringList{stopCall});
}

} // namespace
