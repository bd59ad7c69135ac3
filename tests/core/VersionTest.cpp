#include "core/Version.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QMetaProperty>

using namespace Qt::StringLiterals;

namespace {

const QString path = u"/version"_s;
const QString interfaceName = u"local.Version"_s;

class VersionTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDBusConnection::systemBus().registerObject(path, &version, QDBusConnection::ExportAllProperties));
    }

    QString onTheBus(const QString &property) { return client.getProperty(path, interfaceName, property).toString(); }

    Version version{nullptr};
    BusClient client;
};

TEST_F(VersionTest, TellsWhatWasStampedInAtBuildTime)
{
    EXPECT_EQ(onTheBus(u"version"_s), QStringLiteral(BUILT_VERSION));
    EXPECT_EQ(onTheBus(u"githash"_s), QStringLiteral(BUILT_GITHASH));
}

TEST_F(VersionTest, OffersTwoPropertiesAndNothingElse)
{
    const QStringList expected{u"property version s read"_s, u"property githash s read"_s};

    EXPECT_EQ(client.members(path, interfaceName), expected);
    EXPECT_EQ(Version::staticMetaObject.methodCount(), QObject::staticMetaObject.methodCount());
}

TEST_F(VersionTest, WritingChangesNothing)
{
    for (const QString &property : {u"version"_s, u"githash"_s}) {
        const QString before = onTheBus(property);

        EXPECT_EQ(client.setProperty(path, interfaceName, property, u"other"_s).type(), QDBusMessage::ErrorMessage);
        EXPECT_FALSE(version.setProperty(qPrintable(property), u"other"_s));

        EXPECT_EQ(onTheBus(property), before);
        EXPECT_FALSE(before.isEmpty());
    }
}

} // namespace
