// Backups of the PLC runtime's files, made with the device's own tar.

#include "plc/PlcBackup.h"

#include "plc/PlcTest.h"
#include "support/BindMount.h"
#include "support/Messages.h"

#include <QProcess>
#include <QRegularExpression>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

class PlcBackupTest : public PlcTest
{
protected:
    PlcBackupTest() { removeArchives(); }
    ~PlcBackupTest() override { removeArchives(); }

    static QStringList archives() { return QDir(u"/tmp"_s).entryList({u"*.tar.gz"_s}); }
    static void removeArchives()
    {
        for (const QString &name : archives())
            removeAll(u"/tmp/"_s + name);
    }

    /** What an archive holds. */
    static QMap<QString, QByteArray> content(const QString &archive)
    {
        const QTemporaryDir unpacked;
        EXPECT_EQ(QProcess::execute(u"tar"_s, {u"-xzf"_s, archive, u"-C"_s, unpacked.path()}), 0);
        return tree(unpacked.path());
    }

    /** The backup fails, no archive stays, and no list file. */
    void expectFailure()
    {
        EXPECT_TRUE(createCodesysTarball().isNull());
        EXPECT_EQ(archives(), QStringList());
        EXPECT_FALSE(fileExists(path(u"qmz.cfg"_s)));
    }
};

TEST_F(PlcBackupTest, FailsWithoutAUniqueNameForTheArchive)
{
    const QTemporaryDir temporary;
    ASSERT_EQ(::mkfifo(qPrintable(temporary.filePath(u"uuid"_s)), 0600), 0);
    const BindMount noName(temporary.filePath(u"uuid"_s), u"/proc/sys/kernel/random/uuid"_s);
    const FakePlcRuntime runtime({u"One"_s});
    const Messages messages;

    expectFailure();
}

TEST_F(PlcBackupTest, HoldsWhatTheMapAndTheRuntimeNameAndTheListFile)
{
    writeRuntimeFiles();
    QMap<QString, QByteArray> expected = tree(directory);
    expected.remove(u"stranger"_s);
    expected[u"qmz.cfg"_s] = "3.5.14.10\nOne\nTwo\n";
    const FakePlcRuntime runtime({u"One"_s, u"Two"_s}, u"3.5.14.10"_s);

    const QString archive = createCodesysTarball();

    EXPECT_EQ(content(archive), expected);
    EXPECT_FALSE(fileExists(path(u"qmz.cfg"_s)));
    EXPECT_EQ(runtime.calls(), (QStringList{u"com.ozt.codesys.apps()"_s, u"com.ozt.codesys.version()"_s}));
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(PlcBackupTest, CallsTarWithEachNameOnceAndLogsTheCall)
{
    writeRuntimeFiles();
    tools.add(u"tar"_s);
    const FakePlcRuntime runtime({u"One"_s, u"Two"_s, u"One"_s}, 35);
    const Messages messages;

    const QString archive = createCodesysTarball();

    const QStringList arguments{u"-f"_s,      archive,         u"-C"_s,      u"/srv/codesys"_s,
                                u"-cz"_s,     u"recipe.txt"_s, u"One.app"_s, u"SysFileMap.cfg"_s,
                                u"visu"_s,    u"PlcLogic"_s,   u"One.crc"_s, u"Two.app"_s,
                                u"Two.crc"_s, u"qmz.cfg"_s};
    EXPECT_EQ(tools.calls(), QStringList{u"tar "_s + arguments.join(u' ')});
    EXPECT_EQ(messages.texts().filter(u"-cz"_s), QStringList{u"QList(\""_s + arguments.join(u"\", \""_s) + u"\")"_s});
}

TEST_F(PlcBackupTest, ArchivesHaveNamesOfTheirOwn)
{
    writeRuntimeFiles();
    const FakePlcRuntime runtime({u"One"_s});
    const QRegularExpression form(u"^/tmp/[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}\\.tar\\.gz$"_s);

    const QString first = createCodesysTarball();
    const QString second = createCodesysTarball();

    EXPECT_TRUE(form.match(first).hasMatch()) << qPrintable(first);
    EXPECT_TRUE(form.match(second).hasMatch()) << qPrintable(second);
    EXPECT_NE(first, second);
    EXPECT_EQ(archives().size(), 2);
}

TEST_F(PlcBackupTest, NumberAsVersionIsWrittenInDecimal)
{
    writeRuntimeFiles();
    const FakePlcRuntime runtime({}, 35);

    EXPECT_EQ(content(createCodesysTarball()).value(u"qmz.cfg"_s), "35\n");
}

TEST_F(PlcBackupTest, EndOfALongerListFileStays)
{
    writeRuntimeFiles();
    write(u"qmz.cfg"_s, "1\nLonger\nThan that\n");
    const FakePlcRuntime runtime({u"One"_s}, 35);

    EXPECT_EQ(content(createCodesysTarball()).value(u"qmz.cfg"_s), "35\nOne\nr\nThan that\n");
}

TEST_F(PlcBackupTest, DirectoryWithFifoInsideHoldsNobodyUp)
{
    writeRuntimeFiles();
    ASSERT_EQ(::mkfifo("/srv/codesys/visu/fifo", 0600), 0);
    const FakePlcRuntime runtime({u"One"_s});

    EXPECT_FALSE(createCodesysTarball().isNull());
}

TEST_F(PlcBackupTest, MapThatIsAFifoNamesNothing)
{
    writeRuntimeFiles();
    removeAll(path(u"SysFileMap.cfg"_s));
    ASSERT_EQ(::mkfifo("/srv/codesys/SysFileMap.cfg", 0600), 0);
    tools.add(u"tar"_s);
    const FakePlcRuntime runtime;

    EXPECT_FALSE(createCodesysTarball().isNull());

    EXPECT_TRUE(tools.calls().value(0).endsWith(u"-cz SysFileMap.cfg visu PlcLogic qmz.cfg"_s));
}

struct OptionLike
{
    const char *name;
    QString application;
};

class PlcOptionLikeNameTest : public PlcBackupTest, public testing::WithParamInterface<OptionLike>
{
};

TEST_P(PlcOptionLikeNameTest, IsAFileLikeAnyOther)
{
    const QString name = GetParam().application;
    write(u"SysFileMap.cfg"_s, "[SysFileMap]\n/srv/codesys/" + name.toUtf8() + "=1\n");
    write(name, "of the map");
    write(name + u".app"_s, "code");
    write(name + u".crc"_s, "sum");
    const FakePlcRuntime runtime({name});

    const QMap<QString, QByteArray> backup = content(createCodesysTarball());

    EXPECT_EQ(backup.value(name), "of the map");
    EXPECT_EQ(backup.value(name + u".app"_s), "code");
    EXPECT_EQ(backup.value(name + u".crc"_s), "sum");
    EXPECT_EQ(backup.value(u"qmz.cfg"_s), "35\n" + name.toUtf8() + '\n');
}

INSTANTIATE_TEST_SUITE_P(Names, PlcOptionLikeNameTest,
                         testing::Values(OptionLike{"Short", u"-x"_s}, OptionLike{"Long", u"--remove-files"_s},
                                         OptionLike{"Hyphen", u"-"_s}, OptionLike{"TwoHyphens", u"--"_s},
                                         OptionLike{"Command", u"--checkpoint-action=exec"_s.left(19)},
                                         OptionLike{"Blank", u"my pump"_s}, OptionLike{"Star", u"a*[b]?"_s},
                                         OptionLike{"Quote", u"it's \"$HOME\""_s}, OptionLike{"Colon", u"host:x"_s},
                                         OptionLike{"Umlaut", u"Füllstand"_s}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(PlcBackupTest, FailsWithoutTheRuntimeAndLeavesTheListFile)
{
    writeRuntimeFiles();
    write(u"qmz.cfg"_s, "old\n");
    tools.add(u"tar"_s);

    EXPECT_TRUE(createCodesysTarball().isNull());

    EXPECT_EQ(readFile(path(u"qmz.cfg"_s)), "old\n");
    EXPECT_EQ(archives(), QStringList());
    EXPECT_EQ(tools.calls(), QStringList());
}

TEST_F(PlcBackupTest, FailsWhenTheRuntimeFailsOrLies)
{
    writeRuntimeFiles();
    FakePlcRuntime runtime({u"One"_s});

    runtime.fail(u"version"_s);
    expectFailure();

    runtime.answer(u"version"_s, {QStringList{u"35"_s}});
    expectFailure();

    runtime.answer(u"version"_s, {35});
    EXPECT_FALSE(createCodesysTarball().isNull());
}

TEST_F(PlcBackupTest, FailsWhenAFileOfAnApplicationIsMissing)
{
    writeRuntimeFiles();
    removeAll(path(u"Two.crc"_s));
    const FakePlcRuntime runtime({u"One"_s, u"Two"_s});

    expectFailure();
}

TEST_F(PlcBackupTest, FailsWhenAFileOfTheMapIsMissing)
{
    writeRuntimeFiles();
    removeAll(path(u"recipe.txt"_s));
    const FakePlcRuntime runtime({u"One"_s});

    expectFailure();
}

TEST_F(PlcBackupTest, FailsWithoutMapOrDirectories)
{
    for (const QString &missing : {u"SysFileMap.cfg"_s, u"visu"_s, u"PlcLogic"_s}) {
        writeRuntimeFiles();
        removeAll(path(missing));
        const FakePlcRuntime runtime;

        expectFailure();
        ASSERT_TRUE(QDir().mkpath(path(u"visu"_s)) && QDir().mkpath(path(u"PlcLogic/sub"_s)));
    }
}

TEST_F(PlcBackupTest, FailsWhenTheListFileCanNotBeOpened)
{
    writeRuntimeFiles();
    ASSERT_EQ(::mkfifo("/srv/codesys/qmz.cfg", 0600), 0);
    tools.add(u"tar"_s);
    const FakePlcRuntime runtime({u"One"_s});

    EXPECT_TRUE(createCodesysTarball().isNull());

    EXPECT_EQ(tools.calls(), QStringList());
    EXPECT_TRUE(fileExists(path(u"qmz.cfg"_s)));
}

TEST_F(PlcBackupTest, FailsWithoutTheRuntimesDirectory)
{
    removeAll(directory);
    const FakePlcRuntime runtime;

    expectFailure();
}

TEST_F(PlcBackupTest, FailsWithoutTar)
{
    writeRuntimeFiles();
    const FakePlcRuntime runtime({u"One"_s});
    tools.hideAllOthers();

    expectFailure();
}

TEST_F(PlcBackupTest, FailsWhenTarIsKilledAndRemovesWhatItWrote)
{
    writeRuntimeFiles();
    tools.add(u"tar"_s, "echo half >\"$2\"\nkill -9 $$\n");
    const FakePlcRuntime runtime({u"One"_s});

    expectFailure();
    EXPECT_EQ(tools.calls().size(), 1);
}

} // namespace
