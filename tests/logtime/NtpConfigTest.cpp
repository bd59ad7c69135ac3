// The user's server, the file and the job, and what is on the bus.

#include "NtpFixture.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <QDBusVariant>
#include <QMetaMethod>

using namespace Qt::StringLiterals;

namespace {

const QString interfaceName = u"local.NtpConfig"_s;

class NtpConfigTest : public NtpFixture
{
};

// Start

TEST_F(NtpConfigTest, StartWritesTheFileWithItsDirectoryAndStartsTheJob)
{
    QByteArray fileAtStart;
    onPlatformCall([&](const PlatformCall &) { fileAtStart = readFile(filePath); });

    make();

    EXPECT_EQ(fileAtStart, "# ntp.conf written by nodekeep, all changes will be lost!\n"
                           "# Prohibit general access to this service\n"
                           "restrict 127.0.0.1\n"
                           "server 127.0.0.1 iburst prefer minpoll 4 maxpoll 4\n");
    EXPECT_EQ(platformCallTexts(), QStringList{started});
    EXPECT_EQ(ntp->objectName(), u"ntp"_s);
}

TEST_F(NtpConfigTest, WithoutServersNoneIsUsed)
{
    start();

    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList());
    EXPECT_EQ(ntp->getServer(), QString());
    EXPECT_EQ(ntp->getDhcpServer(), QString());
}

TEST_F(NtpConfigTest, StartTakesTheUsersServerFromTheVariablesWithoutItsQuotes)
{
    writeFile(variablesPath, "NTPSERVER=\"ntp.example\"\n");

    start();

    EXPECT_EQ(servers(), QStringList{u"ntp.example"_s});
    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList{u"ntp.example"_s});
    EXPECT_EQ(readFile(variablesPath), "NTPSERVER=\"ntp.example\"\n");
}

TEST_F(NtpConfigTest, ServerOfMoreThanAMebibyteInTheVariablesIsNone)
{
    writeFile(variablesPath, "NTPSERVER=" + QByteArray(1024 * 1024 + 1, 'x') + '\n');

    start();

    EXPECT_EQ(ntp->getServer(), QString());
    EXPECT_EQ(servers(), QStringList{ownAddress});
}

TEST_F(NtpConfigTest, StartReplacesWhatAnotherProgramLeft)
{
    start();
    writeFile(filePath, QByteArray(100'000, 'x'));

    start();

    EXPECT_EQ(servers(), QStringList{ownAddress});
}

// The user's server

TEST_F(NtpConfigTest, NewServerIsSavedThenTheJobStoppedThenTheFileWrittenThenTheJobStarted)
{
    start();
    QStringList steps;
    onPlatformCall([&](const PlatformCall &call) {
        steps += {QString::fromUtf8(readFile(variablesPath)), toText(call), servers().join(u',')};
    });

    ntp->setNtpServer(u"ntp.example"_s);

    const QString saved = u"#!/bin/sh\nNTPSERVER=ntp.example\n"_s;
    EXPECT_EQ(steps, (QStringList{saved, stopped, ownAddress, saved, started, u"ntp.example"_s}));
    EXPECT_EQ(ntp->getServer(), u"ntp.example"_s);
    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList{u"ntp.example"_s});
}

TEST_F(NtpConfigTest, NextStartHasTheServer)
{
    start();
    ntp->setNtpServer(u"ntp.example"_s);

    start();

    EXPECT_EQ(ntp->getServer(), u"ntp.example"_s);
    EXPECT_EQ(servers(), QStringList{u"ntp.example"_s});
}

TEST_F(NtpConfigTest, OtherVariablesAreKept)
{
    writeFile(variablesPath, "# first\nA=1\nNTPSERVER=\"old\"\nB=\"2\"\n");
    start();

    ntp->setNtpServer(u"new"_s);

    EXPECT_EQ(readFile(variablesPath), "# first\nA=1\nNTPSERVER=new\nB=\"2\"\n");
}

TEST_F(NtpConfigTest, EmptyServerClearsItAndLeavesTheVariableEmpty)
{
    writeFile(variablesPath, "NTPSERVER=old\n");
    start();

    ntp->setNtpServer(QString());

    EXPECT_EQ(readFile(variablesPath), "NTPSERVER=\n");
    EXPECT_EQ(servers(), QStringList{ownAddress});
    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList());
    EXPECT_EQ(platformCallTexts(), (QStringList{stopped, started}));
}

TEST_F(NtpConfigTest, SameServerAgainRunsTheWholeSequenceAgain)
{
    start();
    ntp->setNtpServer(u"ntp.example"_s);
    removeAll(directoryPath);
    writeFile(variablesPath, "changed=1\n");

    ntp->setNtpServer(u"ntp.example"_s);

    EXPECT_EQ(platformCallTexts(), (QStringList{stopped, started, stopped, started}));
    EXPECT_EQ(servers(), QStringList{u"ntp.example"_s});
    EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\nNTPSERVER=ntp.example\n");
}

TEST_F(NtpConfigTest, ServerIsNotChecked)
{
    start();

    ntp->setNtpServer(u"not a \"name\""_s);

    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList{u"not a \"name\""_s});
    EXPECT_EQ(readFile(filePath).split('\n').value(3), "server not a \"name\" iburst prefer minpoll 4 maxpoll 4");
}

// The bus

class NtpConfigBusTest : public NtpFixture
{
protected:
    NtpConfigBusTest()
    {
        start();
        putOnBus(u"/parent"_s, &parent);
    }

    QVariant read(const QString &property) { return client.getProperty(path, interfaceName, property); }

    const QString path = u"/parent/ntp"_s;
    BusClient client;
};

TEST_F(NtpConfigBusTest, OffersItsPropertiesAndMethodsInOrder)
{
    const QStringList expected{u"property server s readwrite"_s, u"property dhcpServer s read"_s,
                               u"method getUsedNtpServer() -> as"_s, u"method setNtpServer(s)"_s};

    EXPECT_EQ(client.members(path, interfaceName), expected);
}

TEST_F(NtpConfigBusTest, MethodAndPropertySetTheServerAlike)
{
    client.call(path, interfaceName, u"setNtpServer"_s, {u"first"_s});
    EXPECT_EQ(read(u"server"_s), QVariant(u"first"_s));
    EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\nNTPSERVER=first\n");

    client.setProperty(path, interfaceName, u"server"_s, u"second"_s);
    EXPECT_EQ(client.value(path, interfaceName, u"getUsedNtpServer"_s).toStringList(), QStringList{u"second"_s});
    EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\nNTPSERVER=second\n");
    EXPECT_EQ(platformCallTexts(), (QStringList{stopped, started, stopped, started}));
}

TEST_F(NtpConfigBusTest, NetworksServerCannotBeWritten)
{
    EXPECT_EQ(client.setProperty(path, interfaceName, u"dhcpServer"_s, u"a"_s).type(), QDBusMessage::ErrorMessage);

    EXPECT_EQ(read(u"dhcpServer"_s), QVariant(QString()));
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(NtpConfigBusTest, ReportsOfConnmanAreNotForClients)
{
    const QVariant list = QVariant::fromValue(QDBusVariant(QStringList{u"a"_s}));
    const QList<std::pair<QString, QVariantList>> calls{{u"connmanStarted"_s, {}},
                                                        {u"connmanServicePropertyChanged"_s, {u"Timeservers"_s, list}}};
    for (const auto &[method, arguments] : calls) {
        EXPECT_EQ(client.call(path, interfaceName, method, arguments).errorName(),
                  u"org.freedesktop.DBus.Error.UnknownMethod"_s);
    }

    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(NtpConfigBusTest, ReportsOfConnmanAreProtectedSlotsBehindThePublicOnes)
{
    QStringList slotNames;
    for (int index = NtpConfig::staticMetaObject.methodOffset(); index < NtpConfig::staticMetaObject.methodCount();
         ++index) {
        const QMetaMethod method = NtpConfig::staticMetaObject.method(index);
        slotNames += QString::fromLatin1(method.methodSignature()) +
                     (method.access() == QMetaMethod::Protected ? u" protected"_s : QString());
    }

    EXPECT_EQ(slotNames,
              (QStringList{u"getUsedNtpServer()"_s, u"setNtpServer(QString)"_s, u"connmanStarted() protected"_s,
                           u"connmanServicePropertyChanged(QString,QDBusVariant) protected"_s}));
}

} // namespace
