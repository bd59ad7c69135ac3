#include "system/SystemFixture.h"

#include "support/BusClient.h"
#include "support/FakeTools.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QMetaMethod>

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/system"_s;
const QString interfaceName = u"local.System"_s;

class SystemBusTest : public SystemFixture
{
protected:
    void SetUp() override
    {
        writeFile(u"/etc/guiLevel3"_s, "pw=\"secret\"\n");
        start();
    }

    QVariant read(const QString &property) { return client.getProperty(path, interfaceName, property); }

    BusClient client;
};

TEST_F(SystemBusTest, OffersItsPropertiesInOrder)
{
    const QStringList expected{
        u"property hostname s readwrite"_s, u"property oztversion s read"_s, u"property oztsvnversion s read"_s,
        u"property oztgitversion s read"_s, u"property oztgithash s read"_s, u"property oztReleasename s read"_s,
        u"property oztBuildtime s read"_s,
    };

    EXPECT_EQ(client.members(path, interfaceName).filter(u"property"_s), expected);
}

TEST_F(SystemBusTest, OffersItsMethodsInOrder)
{
    const QStringList expected{
        u"method resetWebPassword(s) -> b"_s,
        u"method resetCodesys() -> b"_s,
        u"method startMeascardLedSignaling(i)"_s,
        u"method remoteMeascardLedSingaling(is)"_s,
        u"method deleteAllCertificates() -> i"_s,
        u"method getPwDisable() -> u"_s,
        u"method setPwDisable(u)"_s,
    };

    EXPECT_EQ(client.members(path, interfaceName).filter(u"method"_s), expected);
}

TEST_F(SystemBusTest, OffersNoSignals)
{
    EXPECT_EQ(client.members(path, interfaceName).filter(u"signal"_s), QStringList());
}

TEST_F(SystemBusTest, WebStoresAreItsOnlyNamedChildren)
{
    const QStringList expected{u"guiLevel1"_s, u"guiLevel2"_s, u"guiLevel3"_s, u"guiSystem"_s};

    EXPECT_EQ(client.children(path), expected);
}

TEST_F(SystemBusTest, WebStoreIsReadAndWrittenBelowEtc)
{
    const QString store = path + u"/guiLevel3"_s;
    const QString storeInterface = u"local.BareboxConfig"_s;

    EXPECT_EQ(client.value(store, storeInterface, u"getTrimmed"_s, {u"pw"_s}), u"secret"_s);
    client.call(store, storeInterface, u"syncSet"_s, {u"pw"_s, u"other"_s});

    EXPECT_EQ(readFile(u"/etc/guiLevel3"_s), "pw=other\n");
}

TEST_F(SystemBusTest, HostNameIsReadAndWritten)
{
    EXPECT_EQ(read(u"hostname"_s), u"node-1"_s);

    EXPECT_EQ(client.setProperty(path, interfaceName, u"hostname"_s, u"node-2"_s).type(), QDBusMessage::ReplyMessage);

    EXPECT_EQ(read(u"hostname"_s), u"node-2"_s);
    EXPECT_EQ(readFile(storedPath), "node-2\n");
}

TEST_F(SystemBusTest, RefusedHostNameIsNoErrorForTheCaller)
{
    EXPECT_EQ(client.setProperty(path, interfaceName, u"hostname"_s, u"-"_s).type(), QDBusMessage::ReplyMessage);

    EXPECT_EQ(platformCallTexts(), QStringList{u"SystemEvent.hostnameInvalid(\"-\", \"node-1\", \"/system\")"_s});
    EXPECT_EQ(read(u"hostname"_s), u"node-1"_s);
}

TEST_F(SystemBusTest, HostNameOfAnotherTypeIsRefused)
{
    EXPECT_EQ(client.setProperty(path, interfaceName, u"hostname"_s, QVariantMap{{u"a"_s, 1}}).type(),
              QDBusMessage::ErrorMessage);

    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(SystemBusTest, VersionRecordCannotBeWritten)
{
    EXPECT_EQ(client.setProperty(path, interfaceName, u"oztversion"_s, u"2"_s).type(), QDBusMessage::ErrorMessage);
}

TEST_F(SystemBusTest, PasswordResetComparesTheHostNameThatIsRemembered)
{
    FakeTools tools;
    tools.add(u"gpg"_s);
    writeFile(directory.filePath(u"reset"_s), "hostname=node-1\nmac=02:00:5E:10:00:01\n");
    setKernelName("node-2");

    EXPECT_EQ(client.value(path, interfaceName, u"resetWebPassword"_s, {directory.filePath(u"reset"_s)}), false);

    // The name is right, and nobody is there who could tell the address.
    EXPECT_EQ(platformCallTexts(), QStringList{u"SystemEvent.pwResetFileError(\"/\")"_s});
}

TEST_F(SystemBusTest, PlcRuntimeIsReset)
{
    setHasCodesys(true);

    EXPECT_EQ(client.value(path, interfaceName, u"resetCodesys"_s), true);

    EXPECT_EQ(platformCallTexts(),
              (QStringList{u"Upstart.stop(\"codesys\", false)"_s, u"Upstart.start(\"codesys\", false)"_s}));
    resetFakePlatform();
}

TEST_F(SystemBusTest, ProtectedSlotsAreNotCallable)
{
    const QList<std::pair<QString, QVariantList>> calls{{u"hostnameChanged"_s, {u"/"_s}},
                                                        {u"isOnline"_s, {true}},
                                                        {u"replyFinished"_s, {}},
                                                        {u"fileUploaded"_s, {u"/tmp/a"_s, u"a.pdf"_s}},
                                                        {u"pwDisableTimeout"_s, {}}};
    for (const auto &[method, arguments] : calls) {
        EXPECT_EQ(client.call(path, interfaceName, method, arguments).errorName(),
                  u"org.freedesktop.DBus.Error.UnknownMethod"_s);
    }

    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(SystemBusTest, ProtectedSlotsAreInTheMetaObject)
{
    for (const char *signature : {"replyFinished(QNetworkReply*)", "hostnameChanged(QString)", "isOnline(bool)",
                                  "fileUploaded(QString,QString)", "pwDisableTimeout()"}) {
        const int index = System::staticMetaObject.indexOfSlot(signature);

        ASSERT_GE(index, 0) << signature;
        EXPECT_EQ(System::staticMetaObject.method(index).access(), QMetaMethod::Protected) << signature;
    }
}

TEST_F(SystemBusTest, DisableCodeIsSetAndRead)
{
    client.call(path, interfaceName, u"setPwDisable"_s, {0xFFFF0005U});

    EXPECT_EQ(client.value(path, interfaceName, u"getPwDisable"_s).toUInt(), 0xFFFF0005U);
}

TEST_F(SystemBusTest, ChangeOfTheOnlineStateHasNoEffect)
{
    const QStringList before = client.members(path, interfaceName);

    ASSERT_TRUE(QMetaObject::invokeMethod(system.get(), "isOnline", Q_ARG(bool, true)));

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(client.members(path, interfaceName), before);
    EXPECT_EQ(read(u"hostname"_s), u"node-1"_s);
}

} // namespace
