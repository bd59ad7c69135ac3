#include "firmware/NandUpdate.h"

#include "FirmwareOnDisk.h"

#include "fake/FakePlatform.h"
#include "support/BusClient.h"
#include "support/FakeTools.h"
#include "support/Impatience.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <qmz/NodekeepGlobals.h>

#include <QDBusConnection>
#include <QSignalSpy>

using namespace Qt::StringLiterals;

namespace {

class NandUpdateTest : public testing::Test
{
protected:
    NandUpdateTest()
    {
        QDBusConnection::systemBus().registerObject(qmz::NodekeepGlobals::LOADER_PATH, &loader,
                                                    QDBusConnection::ExportAllSlots |
                                                        QDBusConnection::ExportChildObjects);
        resetFakePlatform();
    }

    NandUpdate *add(const QString &path)
    {
        return new NandUpdate(path, u"4.3"_s, u"Harvest"_s, u"12000"_s, u"3"_s, u"2026-11-21"_s, &loader);
    }

    QObject loader;
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

TEST_F(NandUpdateTest, EachFactHasAMethodOfItsOwn)
{
    add(u"fwupdate7"_s);
    QVariantList facts;

    for (const char *method : {"version", "releasename", "svnversion", "minUpdaterVer", "date", "getIndex"})
        facts += client.value(u"/loader/fwupdate7"_s, u"local.NandUpdate"_s, QString::fromLatin1(method));

    EXPECT_EQ(facts, (QVariantList{u"4.3"_s, u"Harvest"_s, u"12000"_s, u"3"_s, u"2026-11-21"_s, 7}));
}

TEST_F(NandUpdateTest, StartUpdateTellsItsName)
{
    NandUpdate record(u"/srv/fwupdate/fwupdate3"_s, {}, {}, {}, {}, {}, nullptr);
    QSignalSpy started(&record, &NandUpdate::start);

    record.startUpdate();

    EXPECT_EQ(started, (QList<QVariantList>{{u"fwupdate3"_s}}));
}

TEST_F(NandUpdateTest, RemovalHasHalfAMinute)
{
    putFirmware(firmwareDirectories + u"fwupdate5"_s);
    FakeTools tools;
    tools.add(u"rm"_s, "exec sleep 0.3\n");
    const Impatience impatience;

    add(u"fwupdate5"_s)->deleteFw();

    EXPECT_EQ(impatience.longestLimit(), 30);
    removeAll(firmwareDirectories);
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

} // namespace
