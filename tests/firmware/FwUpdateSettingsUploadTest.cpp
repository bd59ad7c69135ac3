// Which uploads the update manager takes for a backup of the PLC runtime.

#include "firmware/UpdateManagerFixture.h"

#include "fake/FakePlatform.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QString stopCall = u"Upstart.stop(\"codesys\", false)"_s;
const QString startCall = u"Upstart.start(\"codesys\", false)"_s;
const QString configuration = u"/CODESYSControl/CODESYSControl.cfg"_s;

class FwUpdateSettingsUploadTest : public UpdateManagerFixture
{
protected:
    FwUpdateSettingsUploadTest()
    {
        EXPECT_TRUE(QDir().mkpath(u"/CODESYSControl"_s) && QDir().mkpath(u"/srv/codesys"_s));
        writeFile(configuration, "[CmpApp]\nApplication.1=Old\nx=y\n");
        start();
        clearPlatformCalls();
    }
    ~FwUpdateSettingsUploadTest() override
    {
        removeAll(u"/CODESYSControl"_s);
        removeAll(u"/srv/codesys"_s);
    }

    void upload(const QString &file, const QString &name)
    {
        ASSERT_TRUE(
            QMetaObject::invokeMethod(manager.get(), "fileUploaded", Q_ARG(QString, file), Q_ARG(QString, name)));
    }

    const QTemporaryDir temporary;
};

TEST_F(FwUpdateSettingsUploadTest, BackupIsRestoredAndShown)
{
    writeFile(temporary.filePath(u"qmz.cfg"_s), "35\nNew\n");
    const QString uploaded = temporary.filePath(u"my-codesys.tgz"_s);
    ASSERT_EQ(QProcess::execute(u"tar"_s, {u"-C"_s, temporary.path(), u"-czf"_s, uploaded, u"qmz.cfg"_s}), 0);

    upload(uploaded, u"plant.tgz"_s);

    EXPECT_EQ(platformCallTexts(), (QStringList{stopCall, startCall, u"SysCfgAccess.startLedEffect(60, 5)"_s}));
    EXPECT_EQ(readFile(configuration), "[CmpApp]\nApplication.1=New\nx=y\n");
}

TEST_F(FwUpdateSettingsUploadTest, BackupThatFailsIsNotShown)
{
    const QString uploaded = temporary.filePath(u"codesys.tgz"_s);
    writeFile(uploaded, "no archive");

    upload(uploaded, u""_s);

    EXPECT_EQ(platformCallTexts(), QStringList{stopCall});
    EXPECT_FALSE(fileExists(uploaded));
}

TEST_F(FwUpdateSettingsUploadTest, FileOfAnotherNameIsIgnored)
{
    for (const QString &name : {u"Codesys.tgz"_s, u"codesys.tar.gz"_s, u"codesys.tgz.part"_s}) {
        const QString uploaded = temporary.filePath(name);
        writeFile(uploaded, "x");

        upload(uploaded, u"codesys.tgz"_s);

        EXPECT_TRUE(fileExists(uploaded));
    }
    EXPECT_EQ(platformCallTexts(), QStringList());
}

} // namespace
