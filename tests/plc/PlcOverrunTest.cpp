// A tar that hangs, in either direction: 30 seconds each.

#include "plc/PlcBackup.h"

#include "plc/PlcTest.h"

#include <QElapsedTimer>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

class PlcOverrunTest : public PlcTest
{
protected:
    void SetUp() override { elapsed.start(); }

    /** Waited for as long as promised, and the tool did not outlive the call. */
    void expectOverrun(const QString &idFile) const
    {
        EXPECT_GE(elapsed.elapsed(), 30000);
        const int id = readFile(idFile).trimmed().toInt();
        ASSERT_GT(id, 1);
        EXPECT_EQ(::kill(id, 0), -1);
        EXPECT_EQ(errno, ESRCH);
    }

    QElapsedTimer elapsed;
    const QTemporaryDir temporary;
};

TEST_F(PlcOverrunTest, BackupReturnsTheIncompleteArchive)
{
    const QString idFile = temporary.filePath(u"id"_s);
    tools.add(u"tar"_s, "echo half >\"$2\"\necho $$ >" + QFile::encodeName(idFile) + "\nexec sleep 600\n");
    const FakePlcRuntime runtime({u"One"_s});

    const QString archive = createCodesysTarball();

    expectOverrun(idFile);
    EXPECT_EQ(readFile(archive), "half\n");
    EXPECT_FALSE(fileExists(path(u"qmz.cfg"_s)));
    removeAll(archive);
}

TEST_F(PlcOverrunTest, RestoreGoesOnWithWhatIsUnpacked)
{
    const QString idFile = temporary.filePath(u"id"_s);
    const QString archive = temporary.filePath(u"archive"_s);
    writeFile(archive, "x");
    writeFile(configuration, "[CmpApp]\n");
    tools.add(u"tar"_s, "printf '35\\nHalf\\n' >/srv/codesys/qmz.cfg\necho $$ >" + QFile::encodeName(idFile) +
                            "\nexec sleep 600\n");

    EXPECT_TRUE(restoreCodesysFromTarball(archive));

    expectOverrun(idFile);
    EXPECT_FALSE(fileExists(archive));
    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=Half\n");
    EXPECT_EQ(platformCallTexts(),
              (QStringList{u"Upstart.stop(\"codesys\", false)"_s, u"Upstart.start(\"codesys\", false)"_s}));
}

} // namespace
