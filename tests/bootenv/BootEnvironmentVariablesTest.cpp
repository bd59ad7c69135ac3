// Selecting a store, and its variables.

#include "BootEnvironmentFixture.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using testing::Contains;

namespace {

const QString noStoreError = u"error: no bareboxconfig set"_s;
const QString mainStoreError = u"deleting main config not allowed."_s;

class BootEnvironmentVariablesTest : public BootEnvironmentFixture
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
        environment->saveEnv();
        return readFile(envFile(u"config"_s));
    }

    /** The complaints so far, in order, without the names of files. */
    QStringList complaints() const
    {
        QStringList texts = messages.texts();
        texts.removeIf([](const QString &text) { return text != noStoreError && text != mainStoreError; });
        return texts;
    }

    Messages messages;
};

TEST_F(BootEnvironmentVariablesTest, ConfigIsSelectedAtFirst)
{
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);
}

TEST_F(BootEnvironmentVariablesTest, LookUpSelectsAStore)
{
    EXPECT_TRUE(environment->lookupConfig(u"system"_s));

    EXPECT_EQ(environment->getEnv(u"id"_s), u"system"_s);
}

TEST_F(BootEnvironmentVariablesTest, FailedLookUpLeavesNoStoreSelected)
{
    for (const QString &name : {u"unknown"_s, u""_s, u"Config"_s, u"config "_s}) {
        environment->lookupConfig(u"config"_s);

        EXPECT_FALSE(environment->lookupConfig(name));

        EXPECT_TRUE(environment->getEnv(u"id"_s).isNull()) << qPrintable(name);
    }
}

TEST_F(BootEnvironmentVariablesTest, WithoutASelectionNothingIsSetUntilTheNextOne)
{
    environment->lookupConfig(u"unknown"_s);

    environment->setEnv(u"id"_s, u"changed"_s);
    EXPECT_EQ(complaints(), QStringList{noStoreError});
    environment->lookupConfig(u"system"_s);
    environment->setEnv(u"id"_s, u"changed"_s);

    EXPECT_EQ(complaints(), QStringList{noStoreError});
    EXPECT_EQ(environment->getEnv(u"id"_s), u"changed"_s);
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\n");
}

TEST_F(BootEnvironmentVariablesTest, GetTakesOneVariableWithoutQuotes)
{
    environment->setEnv(u"address"_s, u"\"10.0.0.1\""_s);

    EXPECT_EQ(environment->getEnv(u"address"_s), u"10.0.0.1"_s);
    EXPECT_TRUE(environment->getEnv(u"unknown"_s).isNull());
}

TEST_F(BootEnvironmentVariablesTest, SetChangesMemoryOnly)
{
    environment->setEnv(u"id"_s, u"changed"_s);

    EXPECT_EQ(environment->getEnv(u"id"_s), u"changed"_s);
    EXPECT_EQ(readFile(envFile(u"config"_s)), "id=\"config\"\nip=dhcp\n");
    EXPECT_EQ(tools.calls(), QStringList());
}

TEST_F(BootEnvironmentVariablesTest, AddTellsTheFileAtEveryCall)
{
    environment->addConfig(u"extra"_s);
    environment->addConfig(u"extra"_s);

    const QString text = u"new config file: \"extra\""_s;
    EXPECT_EQ(messages.texts().filter(u"extra"_s), (QStringList{text, text}));
}

TEST_F(BootEnvironmentVariablesTest, AddOfANewNameMakesAStoreWithoutAFile)
{
    environment->addConfig(u"extra"_s);

    EXPECT_THAT(stores(), Contains(u"extra"_s));
    EXPECT_FALSE(fileExists(envFile(u"extra"_s)));
    environment->setEnv(u"a"_s, u"1"_s);
    environment->saveEnv();
    EXPECT_EQ(readFile(envFile(u"extra"_s)), "#!/bin/sh\na=1\n");
}

TEST_F(BootEnvironmentVariablesTest, AddOfANewNameReadsAFileThatIsThere)
{
    writeFile(envFile(u"extra"_s), "a=1\n");

    environment->addConfig(u"extra"_s);

    EXPECT_EQ(environment->getEnv(u"a"_s), u"1"_s);
}

TEST_F(BootEnvironmentVariablesTest, AddOfAKnownNameOnlySelectsIt)
{
    writeFile(envFile(u"system"_s), "id=file\n");
    const QStringList before = stores();

    environment->addConfig(u"system"_s);

    EXPECT_EQ(environment->getEnv(u"id"_s), u"system"_s);
    EXPECT_EQ(stores(), before);
}

TEST_F(BootEnvironmentVariablesTest, MainStoreCannotBeDeleted)
{
    environment->lookupConfig(u"system"_s);

    EXPECT_FALSE(environment->delConfig(u"config"_s));

    EXPECT_EQ(complaints(), QStringList{mainStoreError});
    EXPECT_EQ(stores(), (QStringList{u"config"_s, u"system"_s}));
    EXPECT_TRUE(fileExists(envFile(u"config"_s)));
    EXPECT_EQ(environment->getEnv(u"id"_s), u"system"_s);
}

TEST_F(BootEnvironmentVariablesTest, DeletingAnUnknownStoreChangesNothing)
{
    writeFile(envFile(u"file"_s), "a=1\n");
    environment->lookupConfig(u"system"_s);

    EXPECT_FALSE(environment->delConfig(u"unknown"_s));
    EXPECT_FALSE(environment->delConfig(u"file"_s));

    EXPECT_EQ(environment->getEnv(u"id"_s), u"system"_s);
    EXPECT_TRUE(fileExists(envFile(u"file"_s)));
}

TEST_F(BootEnvironmentVariablesTest, DeletingRemovesStoreAndFileAndSelectsConfig)
{
    environment->lookupConfig(u"system"_s);

    EXPECT_TRUE(environment->delConfig(u"system"_s));

    EXPECT_EQ(stores(), QStringList{u"config"_s});
    EXPECT_FALSE(fileExists(envFile(u"system"_s)));
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);
    EXPECT_FALSE(environment->lookupConfig(u"system"_s));
}

TEST_F(BootEnvironmentVariablesTest, StoreWhoseFileCannotBeRemovedStaysAndConfigIsSelected)
{
    removeAll(envFile(u"system"_s));
    writeFile(envFile(u"system/inside"_s), "kept");
    environment->lookupConfig(u"system"_s);

    EXPECT_FALSE(environment->delConfig(u"system"_s));

    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);
    EXPECT_TRUE(environment->lookupConfig(u"system"_s));
    EXPECT_EQ(readFile(envFile(u"system/inside"_s)), "kept");
}

TEST_F(BootEnvironmentVariablesTest, StoreThatNeverHadAFileCannotBeDeleted)
{
    environment->addConfig(u"extra"_s);

    EXPECT_FALSE(environment->delConfig(u"extra"_s));

    EXPECT_THAT(stores(), Contains(u"extra"_s));
}

TEST_F(BootEnvironmentVariablesTest, AddressesGoToConfigAndSelectIt)
{
    environment->lookupConfig(u"system"_s);
    environment->setIp(u"10.0.0.1"_s);
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);

    environment->lookupConfig(u"unknown"_s);
    environment->setGateway(u"10.0.0.254"_s);
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);

    environment->lookupConfig(u"system"_s);
    environment->setNetmask(u"255.0.0.0"_s);
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);

    EXPECT_EQ(readFile(envFile(u"config"_s)), "id=\"config\"\nip=dhcp\n");
    EXPECT_EQ(tools.calls(), QStringList());
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\neth0.ipaddr=10.0.0.1\neth0.gateway=10.0.0.254\n"
                             "eth0.netmask=255.0.0.0\n");
}

TEST_F(BootEnvironmentVariablesTest, AddressModeIsDhcpOrNone)
{
    environment->lookupConfig(u"system"_s);

    environment->setDhcp(false);
    EXPECT_EQ(environment->getEnv(u"ip"_s), u"none"_s);
    EXPECT_EQ(environment->getEnv(u"id"_s), u"config"_s);
    environment->setDhcp(true);

    EXPECT_EQ(environment->getEnv(u"ip"_s), u"dhcp"_s);
    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\n");
}

TEST_F(BootEnvironmentVariablesTest, EmptyAddressIsAnEmptyValue)
{
    environment->setIp(u""_s);

    EXPECT_EQ(savedConfig(), "id=\"config\"\nip=dhcp\neth0.ipaddr=\n");
}

TEST_F(BootEnvironmentVariablesTest, AddressMakesAMainStoreWhereThereIsNone)
{
    removeAll(flashFile(u"config"_s));
    start();
    EXPECT_TRUE(environment->getEnv(u"id"_s).isNull());

    environment->setIp(u"10.0.0.1"_s);

    EXPECT_EQ(savedConfig(), "#!/bin/sh\neth0.ipaddr=10.0.0.1\n");
}

TEST_F(BootEnvironmentVariablesTest, DeletingWithoutAMainStoreLeavesNoneSelected)
{
    removeAll(flashFile(u"config"_s));
    start();
    environment->lookupConfig(u"system"_s);

    EXPECT_TRUE(environment->delConfig(u"system"_s));

    EXPECT_TRUE(environment->getEnv(u"id"_s).isNull());
    environment->setEnv(u"id"_s, u"1"_s);
    EXPECT_EQ(complaints(), QStringList{noStoreError});
}

} // namespace
