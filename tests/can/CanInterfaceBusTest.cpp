#include "can/CanFixture.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/parent/can"_s;
const QString interfaceName = u"local.CanInterface"_s;

class CanInterfaceBusTest : public CanFixture
{
protected:
    CanInterfaceBusTest()
    {
        putOnBus(u"/parent"_s, &parent);
        start();
        can->setParent(&parent);
        can->setObjectName(u"can"_s);
    }
    ~CanInterfaceBusTest() override { can.reset(); } // ahead of its parent, which would delete it too

    QVariant read(const QString &property) { return client.getProperty(path, interfaceName, property); }

    QObject parent;
    BusClient client;
};

TEST_F(CanInterfaceBusTest, OffersTheseMembersInOrder)
{
    const QStringList members = client.members(path, interfaceName);

    EXPECT_EQ(members.filter(u"method"_s),
              (QStringList{u"method getActualBaudrate() -> i"_s, u"method getCanBaudrate() -> i"_s,
                           u"method getCanTerm() -> b"_s}));
    EXPECT_EQ(members.filter(u"property"_s),
              (QStringList{u"property baudrate i readwrite"_s, u"property termination b readwrite"_s,
                           u"property restart_ms u readwrite"_s}));
    EXPECT_EQ(members.filter(u"signal"_s), QStringList());
}

TEST_F(CanInterfaceBusTest, StoreIsBelowIt)
{
    EXPECT_EQ(client.children(path), QStringList{u"canconfig"_s});
    EXPECT_EQ(client.value(path + u"/canconfig"_s, u"local.BareboxConfig"_s, u"get"_s, {u"BITRATE"_s}), u"1000000"_s);
}

TEST_F(CanInterfaceBusTest, SettingsAreReadAndWritten)
{
    client.setProperty(path, interfaceName, u"baudrate"_s, 125000);
    client.setProperty(path, interfaceName, u"restart_ms"_s, 50U);
    client.setProperty(path, interfaceName, u"termination"_s, true);

    EXPECT_EQ(read(u"baudrate"_s), 125000);
    EXPECT_EQ(read(u"restart_ms"_s), 50U);
    EXPECT_EQ(read(u"termination"_s), false) << "a plain file gives back the byte 1, not the character";
    EXPECT_EQ(client.value(path, interfaceName, u"getCanBaudrate"_s), 125000);
    EXPECT_EQ(readFile(storePath), "#!/bin/sh\nBITRATE=125000\nTERMINATION=1\nRESTART=50\n");
    EXPECT_EQ(tools.calls(), portRestarted + portRestarted);
}

TEST_F(CanInterfaceBusTest, TerminationIsTheHardwares)
{
    writeFile(nodePath, "1\n");

    EXPECT_EQ(read(u"termination"_s), true);
    EXPECT_EQ(client.value(path, interfaceName, u"getCanTerm"_s), true);
}

} // namespace
