#include "bootenv/BareboxConfig.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDBusArgument>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/stores/config"_s;
const QString interfaceName = u"local.BareboxConfig"_s;

class BareboxConfigBusTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDBusConnection::systemBus().registerObject(
            u"/stores"_s, &parent, QDBusConnection::ExportAllSlots | QDBusConnection::ExportChildObjects));
        writeFile(directory.filePath(u"config"_s), "a=\"1\"\nb=2\n");
        config = new BareboxConfig(&parent, directory.path(), u"config"_s);
    }

    QVariant call(const QString &method, const QVariantList &arguments = {})
    {
        return client.value(path, interfaceName, method, arguments);
    }

    QTemporaryDir directory;
    QObject parent;
    BareboxConfig *config = nullptr;
    BusClient client;
};

TEST_F(BareboxConfigBusTest, OffersItsSlotsUnderItsFileName)
{
    const QStringList expected{u"method set(ss)"_s,           u"method syncSet(ss)"_s,
                               u"method get(s) -> s"_s,       u"method getTrimmed(s) -> s"_s,
                               u"method exists(s) -> b"_s,    u"method variableList() -> as"_s,
                               u"method getAll() -> a{sv}"_s, u"method save()"_s};

    EXPECT_EQ(client.children(u"/stores"_s), QStringList{u"config"_s});
    EXPECT_EQ(client.members(path, interfaceName), expected);
}

TEST_F(BareboxConfigBusTest, ReadsAndChangesVariables)
{
    call(u"set"_s, {u"b"_s, u"changed"_s});

    EXPECT_EQ(call(u"get"_s, {u"a"_s}), u"\"1\""_s);
    EXPECT_EQ(call(u"getTrimmed"_s, {u"a"_s}), u"1"_s);
    EXPECT_EQ(call(u"get"_s, {u"b"_s}), u"changed"_s);
    EXPECT_EQ(call(u"get"_s, {u"c"_s}), u""_s);
    EXPECT_EQ(call(u"exists"_s, {u"b"_s}), true);
    EXPECT_EQ(call(u"exists"_s, {u"c"_s}), false);
    EXPECT_EQ(config->get(u"b"_s), u"changed"_s);
}

TEST_F(BareboxConfigBusTest, ListsNamesAndValues)
{
    QStringList names = call(u"variableList"_s).toStringList();
    names.sort();

    EXPECT_EQ(names, (QStringList{u"a"_s, u"b"_s}));
    EXPECT_EQ(qdbus_cast<QVariantMap>(call(u"getAll"_s)), (QVariantMap{{u"a"_s, u"\"1\""_s}, {u"b"_s, u"2"_s}}));
}

TEST_F(BareboxConfigBusTest, SavesOnRequest)
{
    call(u"set"_s, {u"b"_s, u"3"_s});
    call(u"save"_s);
    EXPECT_EQ(readFile(directory.filePath(u"config"_s)), "a=\"1\"\nb=3\n");

    call(u"syncSet"_s, {u"c"_s, u"4"_s});
    EXPECT_EQ(readFile(directory.filePath(u"config"_s)), "a=\"1\"\nb=3\nc=4\n");
}

TEST_F(BareboxConfigBusTest, FileNameWithAPointHasNoAddress)
{
    new BareboxConfig(&parent, directory.path(), u"oztversion.conf"_s);

    EXPECT_EQ(client.children(u"/stores"_s), QStringList{u"config"_s});
}

TEST_F(BareboxConfigBusTest, WrongArgumentsAreAnErrorAndChangeNothing)
{
    EXPECT_EQ(client.call(path, interfaceName, u"set"_s, {u"a"_s}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(client.call(path, interfaceName, u"set"_s, {u"a"_s, 7}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(client.call(path, interfaceName, u"parse"_s).errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);

    EXPECT_EQ(config->get(u"a"_s), u"\"1\""_s);
}

} // namespace
