#include "firmware/FirmwareRecords.h"

#include "FirmwareOnDisk.h"

#include "fake/FakePlatform.h"
#include "firmware/FirmwareControl.h"
#include "firmware/NandUpdate.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QChildEvent>
#include <QDir>
#include <QSignalSpy>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

/** The records' parent, which lets them know who has left it. */
struct Parent : QObject
{
    void childEvent(QChildEvent *event) override
    {
        if (event->removed())
            records.forgetNandUpdate(event->child());
    }

    FirmwareRecords records{this};
};

class FirmwareRecordsTest : public testing::Test
{
protected:
    FirmwareRecordsTest()
    {
        removeAll(firmwareDirectories);
        resetFakePlatform();
    }
    ~FirmwareRecordsTest() override
    {
        records.clearNandUpdates();
        removeAll(firmwareDirectories);
    }

    NandUpdate *add(const QString &name)
    {
        putFirmware(firmwareDirectories + name);
        return records.addNandUpdate(name, {.version = u"4.3"_s,
                                            .releasename = u"Harvest"_s,
                                            .svnversion = u"12000"_s,
                                            .minUpdaterVer = u"3"_s,
                                            .date = u"2026-11-21"_s});
    }

    static QStringList directories()
    {
        return QDir(firmwareDirectories).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    }

    Parent parent;
    FirmwareRecords &records = parent.records;
};

TEST_F(FirmwareRecordsTest, RecordTellsWhatItsControlFileSaid)
{
    const NandUpdate *const record = add(u"fwupdate12"_s);

    EXPECT_EQ(record->parent(), &parent);
    EXPECT_EQ(record->objectName(), u"fwupdate12"_s);
    EXPECT_EQ(record->version(), u"4.3"_s);
    EXPECT_EQ(record->releasename(), u"Harvest"_s);
    EXPECT_EQ(record->svnversion(), u"12000"_s);
    EXPECT_EQ(record->minUpdaterVer(), u"3"_s);
    EXPECT_EQ(record->date(), u"2026-11-21"_s);
}

TEST_F(FirmwareRecordsTest, ListJoinsTheRecordsInOrder)
{
    EXPECT_EQ(records.jsonFwUpdates(), u"[]"_s);

    const NandUpdate *const second = add(u"fwupdate2"_s);
    const NandUpdate *const first = add(u"fwupdate1"_s);

    EXPECT_EQ(records.jsonFwUpdates(), u'[' + second->jsonObject() + u',' + first->jsonObject() + u']');
}

TEST_F(FirmwareRecordsTest, StartOfARecordIsHandedOn)
{
    QSignalSpy started(&records, &FirmwareRecords::start);

    add(u"fwupdate3"_s)->startUpdate();

    EXPECT_EQ(started, (QList<QVariantList>{{u"fwupdate3"_s}}));
}

TEST_F(FirmwareRecordsTest, NamesAreNumberedFromTheFirstFreeOne)
{
    EXPECT_EQ(records.takeName(), u"fwupdate0"_s);
    EXPECT_EQ(records.takeName(), u"fwupdate1"_s);

    records.setFreeNr(41);

    EXPECT_EQ(records.takeName(), u"fwupdate41"_s);
    EXPECT_EQ(records.takeName(), u"fwupdate42"_s);
}

TEST_F(FirmwareRecordsTest, NumbersWrapRound)
{
    records.setFreeNr(std::numeric_limits<int>::max());

    EXPECT_EQ(records.takeName(), u"fwupdate2147483647"_s);
    EXPECT_EQ(records.takeName(), u"fwupdate-2147483648"_s);
}

TEST_F(FirmwareRecordsTest, CleanupLeavesTheOneThatWasNumberedLast)
{
    for (int number = 0; number < 3; ++number)
        add(records.takeName());

    records.cleanupFirmwareUpdates();

    EXPECT_EQ(directories(), QStringList{u"fwupdate2"_s});
    EXPECT_EQ(records.jsonFwUpdates().count(u"\"path\""_s), 1);
}

TEST_F(FirmwareRecordsTest, CleanupLeavesNoneWhenTheLatestOneIsMissing)
{
    add(u"fwupdate0"_s);
    records.setFreeNr(2);

    records.cleanupFirmwareUpdates();

    EXPECT_EQ(directories(), QStringList());
    EXPECT_EQ(records.jsonFwUpdates(), u"[]"_s);
}

TEST_F(FirmwareRecordsTest, ClearedRecordsLeaveTheirDirectories)
{
    add(u"fwupdate0"_s);
    add(u"fwupdate1"_s);

    records.clearNandUpdates();

    EXPECT_EQ(records.jsonFwUpdates(), u"[]"_s);
    EXPECT_EQ(parent.findChildren<NandUpdate *>(), QList<NandUpdate *>());
    EXPECT_EQ(directories(), (QStringList{u"fwupdate0"_s, u"fwupdate1"_s}));
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(FirmwareRecordsTest, AnyOrderOfDeletionsLeavesNothingBehind)
{
    for (int number = 0; number < 4; ++number)
        add(u"fwupdate"_s + QString::number(number));
    const auto listed = parent.findChildren<NandUpdate *>();

    listed[2]->deleteFw();
    delete listed[0];
    EXPECT_EQ(records.jsonFwUpdates(), u'[' + listed[1]->jsonObject() + u',' + listed[3]->jsonObject() + u']');
    listed[1]->deleteFw();
    records.cleanupFirmwareUpdates();

    EXPECT_EQ(records.jsonFwUpdates(), u"[]"_s);
    EXPECT_EQ(parent.findChildren<NandUpdate *>(), QList<NandUpdate *>());
}

} // namespace
