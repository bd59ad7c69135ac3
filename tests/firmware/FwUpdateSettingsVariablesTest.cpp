// Selecting a store, and its variables.

#include "firmware/BootEnvTest.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using testing::Contains;

namespace {

const QString noStoreError = u"error: no bareboxconfig set"_s;
const QString mainStoreError = u"deleting main config not allowed."_s;

class FwUpdateSettingsVariablesTest : public BootEnvTest
{
protected:
    void SetUp() override
    {
        writeFile(flashFile(u"config"_s), "id=\"config\"\nip=dhcp\n");
        writeFile(flashFile(u"system"_s), "id= system \n");
        start();
    }

    QByteArray savedConfig()
    {
        manager->saveEnv();
        return readFile(envFile(u"config"_s));
    }

    /** The lines about stores so far, in order. Those of the scan, which runs beside the test, stand between them. */
    QStringList complaints() const
    {
        QStringList texts = messages.texts();
        texts.removeIf([](const QString &text) { return text != noStoreError && text != mainStoreError; });
        return texts;
    }

    Messages messages;
};

TEST_F(FwUpdateSettingsVariablesTest, ConfigIsSelectedAtFirst)
{
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);
}

TEST_F(FwUpdateSettingsVariablesTest, LookUpSelectsAStore)
{
    EXPECT_TRUE(manager->lookupConfig(u"system"_s));

    EXPECT_EQ(manager->getEnv(u"id"_s), u"system"_s);
}

TEST_F(FwUpdateSettingsVariablesTest, FailedLookUpLeavesNoStoreSelected)
{
    for (const QString &name : {u"unknown"_s, u""_s, u"Config"_s, u"config "_s}) {
        manager->lookupConfig(u"config"_s);

        EXPECT_FALSE(manager->lookupConfig(name));

        EXPECT_TRUE(manager->getEnv(u"id"_s).isNull()) << qPrintable(name);
    }
}

TEST_F(FwUpdateSettingsVariablesTest, WithoutASelectionNothingIsSetUntilTheNextOne)
{
    manager->lookupConfig(u"unknown"_s);

    manager->setEnv(u"id"_s, u"changed"_s);
    EXPECT_EQ(complaints(), QStringList{noStoreError});
    manager->lookupConfig(u"system"_s);
    manager->setEnv(u"id"_s, u"changed"_s);

    EXPECT_EQ(complaints(), QStringList{noStoreError});
    EXPECT_EQ(manager->getEnv(u"id"_s), u"changed"_s);
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\n");
}

TEST_F(FwUpdateSettingsVariablesTest, GetTakesOneVariableWithoutQuotes)
{
    manager->setEnv(u"address"_s, u"\"10.0.0.1\""_s);

    EXPECT_EQ(manager->getEnv(u"address"_s), u"10.0.0.1"_s);
    EXPECT_TRUE(manager->getEnv(u"unknown"_s).isNull());
}

TEST_F(FwUpdateSettingsVariablesTest, SetChangesMemoryOnly)
{
    manager->setEnv(u"id"_s, u"changed"_s);

    EXPECT_EQ(manager->getEnv(u"id"_s), u"changed"_s);
    EXPECT_EQ(readFile(envFile(u"config"_s)), "id=\"config\"\nip=dhcp\n");
    EXPECT_EQ(tools.calls(), QStringList());
}

TEST_F(FwUpdateSettingsVariablesTest, AddTellsTheFileAtEveryCall)
{
    manager->addConfig(u"extra"_s);
    manager->addConfig(u"extra"_s);

    const QString text = u"new config file: \"extra\""_s;
    EXPECT_EQ(messages.texts().filter(u"extra"_s), (QStringList{text, text}));
}

TEST_F(FwUpdateSettingsVariablesTest, AddOfANewNameMakesAStoreWithoutAFile)
{
    manager->addConfig(u"extra"_s);

    EXPECT_THAT(stores(), Contains(u"extra"_s));
    EXPECT_FALSE(fileExists(envFile(u"extra"_s)));
    manager->setEnv(u"a"_s, u"1"_s);
    manager->saveEnv();
    EXPECT_EQ(readFile(envFile(u"extra"_s)), "#!/bin/sh\na=1\n");
}

TEST_F(FwUpdateSettingsVariablesTest, AddOfANewNameReadsAFileThatIsThere)
{
    writeFile(envFile(u"extra"_s), "a=1\n");

    manager->addConfig(u"extra"_s);

    EXPECT_EQ(manager->getEnv(u"a"_s), u"1"_s);
}

TEST_F(FwUpdateSettingsVariablesTest, AddOfAKnownNameOnlySelectsIt)
{
    writeFile(envFile(u"system"_s), "id=file\n");
    const QStringList before = stores();

    manager->addConfig(u"system"_s);

    EXPECT_EQ(manager->getEnv(u"id"_s), u"system"_s);
    EXPECT_EQ(stores(), before);
}

TEST_F(FwUpdateSettingsVariablesTest, MainStoreCannotBeDeleted)
{
    manager->lookupConfig(u"system"_s);

    EXPECT_FALSE(manager->delConfig(u"config"_s));

    EXPECT_EQ(complaints(), QStringList{mainStoreError});
    EXPECT_EQ(stores(), (QStringList{u"config"_s, u"system"_s}));
    EXPECT_TRUE(fileExists(envFile(u"config"_s)));
    EXPECT_EQ(manager->getEnv(u"id"_s), u"system"_s);
}

TEST_F(FwUpdateSettingsVariablesTest, DeletingAnUnknownStoreChangesNothing)
{
    writeFile(envFile(u"file"_s), "a=1\n");
    manager->lookupConfig(u"system"_s);

    EXPECT_FALSE(manager->delConfig(u"unknown"_s));
    EXPECT_FALSE(manager->delConfig(u"file"_s));

    EXPECT_EQ(manager->getEnv(u"id"_s), u"system"_s);
    EXPECT_TRUE(fileExists(envFile(u"file"_s)));
}

TEST_F(FwUpdateSettingsVariablesTest, DeletingRemovesStoreAndFileAndSelectsConfig)
{
    manager->lookupConfig(u"system"_s);

    EXPECT_TRUE(manager->delConfig(u"system"_s));

    EXPECT_EQ(stores(), QStringList{u"config"_s});
    EXPECT_FALSE(fileExists(envFile(u"system"_s)));
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);
    EXPECT_FALSE(manager->lookupConfig(u"system"_s));
}

TEST_F(FwUpdateSettingsVariablesTest, StoreWhoseFileCannotBeRemovedStaysAndConfigIsSelected)
{
    removeAll(envFile(u"system"_s));
    writeFile(envFile(u"system/inside"_s), "kept");
    manager->lookupConfig(u"system"_s);

    EXPECT_FALSE(manager->delConfig(u"system"_s));

    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);
    EXPECT_TRUE(manager->lookupConfig(u"system"_s));
    EXPECT_EQ(readFile(envFile(u"system/inside"_s)), "kept");
}

TEST_F(FwUpdateSettingsVariablesTest, StoreThatNeverHadAFileCannotBeDeleted)
{
    manager->addConfig(u"extra"_s);

    EXPECT_FALSE(manager->delConfig(u"extra"_s));

    EXPECT_THAT(stores(), Contains(u"extra"_s));
}

TEST_F(FwUpdateSettingsVariablesTest, AddressesGoToConfigAndSelectIt)
{
    manager->lookupConfig(u"system"_s);
    manager->setIp(u"10.0.0.1"_s);
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);

    manager->lookupConfig(u"unknown"_s);
    manager->setGateway(u"10.0.0.254"_s);
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);

    manager->lookupConfig(u"system"_s);
    manager->setNetmask(u"255.0.0.0"_s);
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);

    EXPECT_EQ(readFile(envFile(u"config"_s)), "id=\"config\"\nip=dhcp\n");
    EXPECT_EQ(tools.calls(), QStringList());
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\neth0.ipaddr=10.0.0.1\neth0.gateway=10.0.0.254\n"
                             "eth0.netmask=255.0.0.0\n");
}

TEST_F(FwUpdateSettingsVariablesTest, AddressModeIsDhcpOrNone)
{
    manager->lookupConfig(u"system"_s);

    manager->setDhcp(false);
    EXPECT_EQ(manager->getEnv(u"ip"_s), u"none"_s);
    EXPECT_EQ(manager->getEnv(u"id"_s), u"config"_s);
    manager->setDhcp(true);

    EXPECT_EQ(manager->getEnv(u"ip"_s), u"dhcp"_s);
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\n");
}

TEST_F(FwUpdateSettingsVariablesTest, EmptyAddressIsAnEmptyValue)
{
    manager->setIp(u""_s);

    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\neth0.ipaddr=\n");
}

TEST_F(FwUpdateSettingsVariablesTest, AddressMakesAMainStoreWhereThereIsNone)
{
    removeAll(flashFile(u"config"_s));
    start();
    EXPECT_TRUE(manager->getEnv(u"id"_s).isNull());

    manager->setIp(u"10.0.0.1"_s);

    EXPECT_EQ(savedConfig(), "#!/bin/sh\neth0.ipaddr=10.0.0.1\n");
}

TEST_F(FwUpdateSettingsVariablesTest, DeletingWithoutAMainStoreLeavesNoneSelected)
{
    removeAll(flashFile(u"config"_s));
    start();
    manager->lookupConfig(u"system"_s);

    EXPECT_TRUE(manager->delConfig(u"system"_s));

    EXPECT_TRUE(manager->getEnv(u"id"_s).isNull());
    manager->setEnv(u"id"_s, u"1"_s);
    EXPECT_EQ(complaints(), QStringList{noStoreError});
}

} // namespace
