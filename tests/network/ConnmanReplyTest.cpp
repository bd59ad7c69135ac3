#include "network/ConnmanReply.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <QDBusArgument>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    const char *title;
    QString xml;
    QString path;
};

const QString services = u"/net/connman/service/"_s;

const Row rows[] = {
    {"one service", u"<node><node name='ethernet_1_cable'/></node>"_s, services + u"ethernet_1_cable"_s},
    {"the last of several", u"<node><node name='ethernet_1'/><node name='wifi_2'/><node name='ethernet_3'/></node>"_s,
     services + u"ethernet_3"_s},
    {"the name alone", u"<node><node name='ethernet'/></node>"_s, services + u"ethernet"_s},
    {"other services", u"<node><node name='wifi_1'/><node name='vpn_ethernet'/></node>"_s, {}},
    {"a capital", u"<node><node name='Ethernet_1'/></node>"_s, {}},
    {"a capital element", u"<node><Node name='ethernet_1'/></node>"_s, {}},
    {"another element", u"<node><interface name='ethernet_1'/></node>"_s, {}},
    {"another attribute", u"<node><node Name='ethernet_1'/></node>"_s, {}},
    {"the outer node, named", u"<node name='ethernet_1'/>"_s, services + u"ethernet_1"_s},
    {"deep inside", u"<node><node name='a'><node name='ethernet_1'/></node></node>"_s, services + u"ethernet_1"_s},
    {"a prefix of another document", u"<n:node xmlns:n='x'><n:node name='ethernet_1'/></n:node>"_s,
     services + u"ethernet_1"_s},
    {"an end that is missing", u"<node><node name='ethernet_1'/>"_s, services + u"ethernet_1"_s},
    {"an error behind a service", u"<node><node name='ethernet_1'/><</node>"_s, services + u"ethernet_1"_s},
    {"an error before a service", u"<node><<node name='ethernet_1'/></node>"_s, {}},
    {"an entity", u"<node><node name='ethernet&amp;1'/></node>"_s, services + u"ethernet&1"_s},
    {"no services", u"<node/>"_s, {}},
    {"no XML", u"ethernet_1"_s, {}},
    {"nothing", QString(), {}},
};

TEST(ConnmanReplyTest, EthernetServiceIsFoundInTheIntrospection)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(ethernetServicePath(row.xml), row.path);
    }
}

TEST(ConnmanReplyTest, DeclarationsBeforeTheDocumentDoNoHarm)
{
    EXPECT_EQ(ethernetServicePath(u"<?xml version=\"1.0\"?>\n"
                                  "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
                                  "\"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n"
                                  "<node><node name=\"ethernet_1\"/></node>\n"_s),
              services + u"ethernet_1"_s);
}

TEST(ConnmanReplyTest, OnlyTextsAreTexts)
{
    EXPECT_EQ(toStringOrNull(u"a"_s), u"a"_s);
    EXPECT_EQ(toStringOrNull(QVariant()), QString());
    EXPECT_EQ(toStringOrNull(1), QString());
    EXPECT_EQ(toStringOrNull(true), QString());
    EXPECT_EQ(toStringOrNull(QByteArray("a")), QString());
    EXPECT_EQ(toStringOrNull(QStringList(u"a"_s)), QString());
    EXPECT_EQ(toStringOrNull(QVariant::fromValue(QDBusArgument())), QString());
}

TEST(ConnmanReplyTest, OnlyMapsOfTheBusAreMaps)
{
    EXPECT_EQ(toMap(QVariant()), QVariantMap());
    EXPECT_EQ(toMap(u"a"_s), QVariantMap());
    EXPECT_EQ(toMap(QVariant::fromValue(QDBusArgument())), QVariantMap());
}

} // namespace
