#include "firmware/NandUpdate.h"

#include "fake/FakePlatform.h"
#include "firmware/UpdateManagerFixture.h"
#include "support/BusClient.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

const QString firmwares = u"/srv/fwupdate/"_s;

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

class NandUpdateTest : public UpdateManagerFixture
{
protected:
    NandUpdateTest()
    {
        removeAll(firmwares);
        resetFakePlatform();
        start();
    }

    NandUpdate *add(const QString &path)
    {
        return manager->addNandUpdate(path, u"4.3"_s, u"Harvest"_s, u"12000"_s, u"3"_s, u"2026-11-21"_s);
    }

    BusClient client;
};

TEST_F(NandUpdateTest, FullPathAndBareNameMakeTheSameName)
{
    EXPECT_EQ(add(u"fwupdate12"_s)->objectName(), u"fwupdate12"_s);
    EXPECT_EQ(add(u"/srv/fwupdate/fwupdate12"_s)->objectName(), u"fwupdate12"_s);
    EXPECT_EQ(add(u"/srv/fwupdate/fwupdate12.old.1"_s)->objectName(), u"fwupdate12"_s);
}

TEST_F(NandUpdateTest, JsonHasItsFieldsInOrderAndIsNotEscaped)
{
    EXPECT_EQ(add(u"fwupdate12"_s)->jsonObject(),
              u"{\"path\":\"/loader/fwupdate12\",\"version\":\"4.3\",\"svnversion\":\"12000\",\"minUpdaterVer\":3,"
              "\"date\":\"2026-11-21\",\"releasename\":\"Harvest\"}"_s);

    const NandUpdate odd(u"odd"_s, u"\"4\""_s, u"a\\b"_s, {}, {}, {}, nullptr);
    EXPECT_EQ(odd.jsonObject(), u"{\"path\":\"/loader/odd\",\"version\":\"\"4\"\",\"svnversion\":\"\","
                                "\"minUpdaterVer\":,\"date\":\"\",\"releasename\":\"a\\b\"}"_s);
}

TEST_F(NandUpdateTest, ListJoinsTheRecordsInOrder)
{
    EXPECT_EQ(manager->jsonFwUpdates(), u"[]"_s);

    const NandUpdate *const second = add(u"fwupdate2"_s);
    const NandUpdate *const first = add(u"fwupdate1"_s);

    EXPECT_EQ(manager->jsonFwUpdates(), u'[' + second->jsonObject() + u',' + first->jsonObject() + u']');
}

TEST_F(NandUpdateTest, StartUpdateTellsItsName)
{
    NandUpdate record(firmwares + u"fwupdate3"_s, {}, {}, {}, {}, {}, nullptr);
    QSignalSpy started(&record, &NandUpdate::start);

    record.startUpdate();

    EXPECT_EQ(started, (QList<QVariantList>{{u"fwupdate3"_s}}));
}

TEST_F(NandUpdateTest, BusHearsOfAScanButOfNoStart)
{
    Listener listener;
    listener.listenTo(u"local.NandUpdate"_s, u"start"_s);
    listener.listenTo(u"local.FwUpdateSettings"_s, u"scan"_s);
    NandUpdate *const record = add(u"fwupdate0"_s);
    QSignalSpy started(record, &NandUpdate::start);

    record->startUpdate(); // leads nowhere, as there is no such directory
    Q_EMIT manager->scan();
    ASSERT_TRUE(waitUntil([&] { return !listener.heard.isEmpty(); }));

    EXPECT_EQ(started.count(), 1);
    EXPECT_EQ(listener.heard, QStringList{u"/loader scan"_s});
}

TEST_F(NandUpdateTest, OffersItsMembersInOrder)
{
    add(u"fwupdate0"_s);

    EXPECT_EQ(
        client.members(u"/loader/fwupdate0"_s, u"local.NandUpdate"_s),
        (QStringList{u"method startUpdate()"_s, u"method deleteFw()"_s, u"method version() -> s"_s,
                     u"method releasename() -> s"_s, u"method svnversion() -> s"_s, u"method minUpdaterVer() -> s"_s,
                     u"method date() -> s"_s, u"method jsonObject() -> s"_s, u"method getIndex() -> i"_s}));
}

TEST_F(NandUpdateTest, DeletedRecordIsGoneForCallsThatAreQueuedBehind)
{
    writeFile(firmwares + u"fwupdate0/control"_s, "");
    add(u"fwupdate0"_s);
    add(u"fwupdate1"_s);
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
    EXPECT_FALSE(fileExists(firmwares + u"fwupdate0"_s));
    EXPECT_EQ(platformCallTexts(), QStringList{u"SystemEvent.firmwareDeleted(\"/loader/fwupdate0\")"_s});
    QDBusConnection::disconnectFromBus(u"another client"_s);
}

TEST_F(NandUpdateTest, AnyOrderOfDeletionsLeavesNothingBehind)
{
    for (int number = 0; number < 4; ++number)
        add(u"fwupdate"_s + QString::number(number));
    const auto records = manager->findChildren<NandUpdate *>();

    records[2]->deleteFw();
    delete records[0];
    EXPECT_EQ(manager->jsonFwUpdates(), u'[' + records[1]->jsonObject() + u',' + records[3]->jsonObject() + u']');
    records[1]->deleteFw();
    manager->cleanupFirmwareUpdates();

    EXPECT_EQ(manager->jsonFwUpdates(), u"[]"_s);
    EXPECT_EQ(manager->findChildren<NandUpdate *>(), QList<NandUpdate *>());
}

} // namespace

#include "NandUpdateTest.moc"
