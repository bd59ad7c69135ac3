// The firmware that the update manager finds at its start, as others on the bus see it.

#include "FirmwareOnDisk.h"
#include "UpdateManagerFixture.h"

#include "fake/FakePlatform.h"
#include "firmware/NandUpdate.h"
#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

/** Another program on the bus that takes note of the signals it gets. */
class Listener : public QObject
{
    Q_OBJECT

public:
    ~Listener() override { QDBusConnection::disconnectFromBus(u"listener"_s); }

    /** Whoever sends it, from wherever. */
    void listenTo(const QString &interface, const QString &name)
    {
        EXPECT_TRUE(connection.connect(QString(), QString(), interface, name, this, SLOT(hear(QDBusMessage))));
        letBusCatchUp(connection);
    }

    QStringList heard;

public Q_SLOTS:
    void hear(const QDBusMessage &signal) { heard.append(signal.path() + u' ' + signal.member()); }

private:
    QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"listener"_s);
};

class FwUpdateSettingsRecordsTest : public UpdateManagerFixture
{
protected:
    void SetUp() override
    {
        removeAll(firmwareDirectories);
        putFirmware(firmwareDirectories + u"fwupdate0"_s);
        putFirmware(firmwareDirectories + u"fwupdate1"_s);
        start();
        ASSERT_TRUE(waitUntil([this] { return manager->jsonFwUpdates().count(u"\"path\""_s) == 2; }));
        resetFakePlatform();
    }
};

TEST_F(FwUpdateSettingsRecordsTest, BusHearsOfAScanButOfNoStart)
{
    Listener listener;
    listener.listenTo(u"local.NandUpdate"_s, u"start"_s);
    listener.listenTo(u"local.FwUpdateSettings"_s, u"scan"_s);
    auto *const record = manager->findChild<NandUpdate *>(u"fwupdate0"_s);
    removeAll(firmwareDirectories);
    QSignalSpy started(record, &NandUpdate::start);

    record->startUpdate(); // leads nowhere, as there is no such directory
    Q_EMIT manager->scan();
    ASSERT_TRUE(waitUntil([&] { return !listener.heard.isEmpty(); }));

    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(listener.heard, QStringList{u"/loader scan"_s});
}

TEST_F(FwUpdateSettingsRecordsTest, DeletedRecordIsGoneForCallsThatAreQueuedBehind)
{
    QDBusConnection other = QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"another client"_s);
    const QString service = QDBusConnection::systemBus().baseService();
    const auto request = [&](const QString &path, const QString &interface, const QString &method) {
        return other.asyncCall(QDBusMessage::createMethodCall(service, path, interface, method));
    };

    QDBusPendingCall deletion = request(u"/loader/fwupdate0"_s, u"local.NandUpdate"_s, u"deleteFw"_s);
    QDBusPendingCall again = request(u"/loader/fwupdate0"_s, u"local.NandUpdate"_s, u"deleteFw"_s);
    QDBusPendingCall list = request(u"/loader"_s, u"local.FwUpdateSettings"_s, u"jsonFwUpdates"_s);
    ASSERT_TRUE(waitUntil([&] { return list.isFinished(); }));

    EXPECT_FALSE(deletion.isError());
    EXPECT_TRUE(again.isError());
    EXPECT_FALSE(list.reply().arguments().value(0).toString().contains(u"fwupdate0"_s));
    EXPECT_TRUE(list.reply().arguments().value(0).toString().contains(u"fwupdate1"_s));
    EXPECT_FALSE(fileExists(firmwareDirectories + u"fwupdate0"_s));
    EXPECT_EQ(platformCallTexts(), QStringList{u"SystemEvent.firmwareDeleted(\"/loader/fwupdate0\")"_s});
    QDBusConnection::disconnectFromBus(u"another client"_s);
}

} // namespace

#include "FwUpdateSettingsRecordsTest.moc"
