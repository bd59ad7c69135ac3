#include "firmware/UpdateManagerFixture.h"
#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <qmz/NodekeepGlobals.h>

using namespace Qt::StringLiterals;

namespace {

const QString interfaceName = u"local.FwUpdateSettings"_s;

class FwUpdateSettingsBusTest : public UpdateManagerFixture
{
protected:
    void SetUp() override
    {
        writeFile(flashFile(u"config"_s), "a=\"1\"\n");
        writeFile(flashFile(u"system"_s), "serial=4711\n");
        start();
    }

    QVariant call(const QString &method, const QVariantList &arguments = {})
    {
        return client.value(path, interfaceName, method, arguments);
    }

    const QString path = qmz::NodekeepGlobals::LOADER_PATH;
    BusClient client;
};

TEST_F(FwUpdateSettingsBusTest, OffersItsMembersInOrder)
{
    const QStringList expected{
        u"property updateFailed b read"_s,
        u"property onlyUploadFirmware b readwrite"_s,
        u"property factoryInit b read"_s,
        u"property fwUpdated b read"_s,
        u"signal scan()"_s,
        u"method lookupConfig(s) -> b"_s,
        u"method addConfig(s)"_s,
        u"method delConfig(s) -> b"_s,
        u"method getEnv(s) -> s"_s,
        u"method setEnv(ss)"_s,
        u"method setIp(s)"_s,
        u"method setGateway(s)"_s,
        u"method setNetmask(s)"_s,
        u"method setDhcp(b)"_s,
        u"method loadEnv()"_s,
        u"method saveEnv()"_s,
        u"method saveEnvNoRestore()"_s,
        u"method armReboot()"_s,
        u"method reboot()"_s,
        u"method getUpdateFailed() -> b"_s,
        u"method getFactoryInit() -> b"_s,
        u"method getFwUpdated() -> b"_s,
        u"method createCodesysTarball() -> s"_s,
        u"method restoreCodesysFromTarball(s) -> b"_s,
        u"method restartCodesys()"_s,
        u"method cleanupFirmwareUpdates() -> b"_s,
        u"method startUpdateNand(s)"_s,
        u"method startUpdateHttp(s)"_s,
        u"method startUpdateHttp()"_s,
        u"method jsonFwUpdates() -> s"_s,
    };

    EXPECT_EQ(client.members(path, interfaceName), expected);
}

TEST_F(FwUpdateSettingsBusTest, StoresAreItsChildren)
{
    EXPECT_EQ(client.children(path), (QStringList{u"config"_s, u"system"_s}));
    EXPECT_EQ(client.value(path + u"/system"_s, u"local.BareboxConfig"_s, u"get"_s, {u"serial"_s}), u"4711"_s);
}

TEST_F(FwUpdateSettingsBusTest, AddedStoreHasAnAddressAtOnce)
{
    call(u"addConfig"_s, {u"extra"_s});

    EXPECT_EQ(client.children(path), (QStringList{u"config"_s, u"extra"_s, u"system"_s}));
}

TEST_F(FwUpdateSettingsBusTest, DeletedStoreHasNoAddress)
{
    EXPECT_EQ(call(u"delConfig"_s, {u"system"_s}), true);

    EXPECT_EQ(client.children(path), QStringList{u"config"_s});
    EXPECT_EQ(client.call(path + u"/system"_s, u"local.BareboxConfig"_s, u"get"_s, {u"serial"_s}).type(),
              QDBusMessage::ErrorMessage);
}

TEST_F(FwUpdateSettingsBusTest, SelectsReadsAndChangesVariables)
{
    EXPECT_EQ(call(u"lookupConfig"_s, {u"system"_s}), true);
    EXPECT_EQ(call(u"getEnv"_s, {u"serial"_s}), u"4711"_s);

    call(u"setDhcp"_s, {false});
    EXPECT_EQ(call(u"getEnv"_s, {u"ip"_s}), u"none"_s);
    call(u"setEnv"_s, {u"a"_s, u"2"_s});
    call(u"saveEnv"_s);

    EXPECT_EQ(readFile(flashFile(u"config"_s)), "a=2\nip=none\n");
}

TEST_F(FwUpdateSettingsBusTest, UnknownStoreAndVariableAreNoErrors)
{
    EXPECT_EQ(call(u"getEnv"_s, {u"unknown"_s}), u""_s);
    EXPECT_EQ(call(u"lookupConfig"_s, {u""_s}), false);
    EXPECT_EQ(call(u"getEnv"_s, {u"a"_s}), u""_s);
    EXPECT_EQ(call(u"delConfig"_s, {u"unknown"_s}), false);
}

TEST_F(FwUpdateSettingsBusTest, PrivateOperationsAreNotOffered)
{
    for (const QString &method : {u"minFwVersion"_s, u"ethernetAddress"_s, u"fetchBootEnv"_s}) {
        EXPECT_EQ(client.call(path, interfaceName, method).errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);
    }
}

} // namespace
