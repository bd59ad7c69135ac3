#include "network/InterfacesFile.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <ostream>

using namespace Qt::StringLiterals;

/** For the messages of failing tests. */
void PrintTo(const EthernetSettings &settings, std::ostream *out)
{
    *out << qPrintable(settings.address) << ' ' << qPrintable(settings.netmask) << ' ' << qPrintable(settings.gateway)
         << ' ' << qPrintable(settings.nameserver);
}

namespace {

QByteArray fileWith(const QByteArray &stanza)
{
    return interfacesHead() + stanza + interfacesTail();
}

TEST(InterfacesFileTest, DhcpTextIsThis)
{
    EXPECT_EQ(fileWith(dhcpStanza()),
              "#/etc/network/interfaces automatically updated by nodekeep, changes might be lost!\n"
              "auto lo can0\n"
              "#loopback interface\n"
              "iface lo inet loopback\n"
              "#ethernet\n"
              "iface eth0 inet dhcp\n"
              "\n"
              "iface can0 inet static\n"
              " address 127.24.23.180\n"
              " netmask 255.255.255.0\n"
              " pre-up /etc/network/can-pre-up\n");
}

TEST(InterfacesFileTest, StaticStanzaIsThis)
{
    EXPECT_EQ(staticStanza({u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s, u"9.9.9.9"_s}), "iface eth0 inet static\n"
                                                                                          "   address 10.1.2.3\n"
                                                                                          "   netmask 255.0.0.0\n"
                                                                                          "   gateway 10.0.0.1\n"
                                                                                          "   #nameserver 9.9.9.9\n");
}

TEST(InterfacesFileTest, EmptyValuesLeaveABlankBehindTheirKeys)
{
    EXPECT_EQ(staticStanza({}), "iface eth0 inet static\n   address \n   netmask \n   gateway \n   #nameserver \n");
}

TEST(InterfacesFileTest, CharactersBeyondAsciiAreWrittenAsQuestionMarks)
{
    EXPECT_EQ(staticStanza({{}, {}, {}, u"b\u00fcro\u20ac.example"_s}),
              "iface eth0 inet static\n   address \n   netmask \n   gateway \n   #nameserver b?ro?.example\n");
}

struct RoundTrip
{
    const char *title;
    EthernetSettings written;
    std::optional<EthernetSettings> read;
};

const EthernetSettings complete{u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s, u"9.9.9.9"_s};

EthernetSettings changed(QString EthernetSettings::*member, const QString &value)
{
    EthernetSettings settings = complete;
    settings.*member = value;
    return settings;
}

const RoundTrip roundTrips[] = {
    {"complete", complete, complete},
    {"without a name server", changed(&EthernetSettings::nameserver, {}), changed(&EthernetSettings::nameserver, {})},
    {"a name server that is no address", changed(&EthernetSettings::nameserver, u"dns.example"_s),
     changed(&EthernetSettings::nameserver, {})},
    {"a name server of two lines", changed(&EthernetSettings::nameserver, u"9.9.9.9\n   gateway 1.1.1.1"_s), complete},
    {"a name server with a NUL", changed(&EthernetSettings::nameserver, u"9.9.9.9"_s + QChar::Null + u'x'), complete},
    {"without an address", changed(&EthernetSettings::address, {}), std::nullopt},
    {"without a netmask", changed(&EthernetSettings::netmask, {}), std::nullopt},
    {"without a gateway", changed(&EthernetSettings::gateway, {}), std::nullopt},
    {"everything zero",
     {u"0.0.0.0"_s, u"0.0.0.0"_s, u"0.0.0.0"_s, u"0.0.0.0"_s},
     EthernetSettings{u"0.0.0.0"_s, u"0.0.0.0"_s, u"0.0.0.0"_s, u"0.0.0.0"_s}},
    {"IPv6",
     {u"2001:db8::7"_s, u"ffff:ffff::"_s, u"2001:db8::1"_s, u"2001:db8::2"_s},
     EthernetSettings{u"2001:db8::7"_s, u"ffff:ffff::"_s, u"2001:db8::1"_s, u"2001:db8::2"_s}},
};

TEST(InterfacesFileTest, WhatIsWrittenIsReadBack)
{
    for (const RoundTrip &row : roundTrips) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(readStaticStanza(fileWith(staticStanza(row.written))), row.read);
    }
}

TEST(InterfacesFileTest, EveryByteOfAnAddressIsReadBack)
{
    for (int byte = 0; byte < 256; ++byte) {
        const QString number = QString::number(byte);
        const EthernetSettings settings{number + u".2.3."_s + number, u"255.255."_s + number + u".0"_s,
                                        u"1."_s + number + u".3.4"_s, u"1.2."_s + number + u".4"_s};
        EXPECT_EQ(readStaticStanza(fileWith(staticStanza(settings))), settings);
    }
}

TEST(InterfacesFileTest, DhcpHasNoStanzaToRead)
{
    EXPECT_EQ(readStaticStanza(fileWith(dhcpStanza())), std::nullopt);
}

/** All of a literal, NULs included. */
template <size_t size> QByteArray bytes(const char (&literal)[size])
{
    return QByteArray(literal, size - 1);
}

struct OddFile
{
    const char *title;
    QByteArray text;
    std::optional<EthernetSettings> read;
};

const EthernetSettings ofCan0{u"127.24.23.180"_s, u"255.255.255.0"_s, u"10.0.0.1"_s, {}};

const OddFile oddFiles[] = {
    {"empty", "", std::nullopt},
    {"the heading alone", "iface eth0 inet static", std::nullopt},
    {"keys in another order",
     "iface eth0 inet static\n#nameserver 9.9.9.9\ngateway 10.0.0.1\nnetmask 255.0.0.0\naddress 10.1.2.3\n", complete},
    {"no address, so that of can0 is taken",
     fileWith("iface eth0 inet static\n   netmask 255.255.255.0\n   gateway 10.0.0.1\n"), ofCan0},
    {"no netmask, so that of can0 is taken",
     fileWith("iface eth0 inet static\n   address 127.24.23.180\n   gateway 10.0.0.1\n"), ofCan0},
    {"no gateway anywhere", fileWith("iface eth0 inet static\n   address 10.1.2.3\n   netmask 255.0.0.0\n"),
     std::nullopt},
    {"keys before the heading only",
     "# the port\naddress 10.1.2.3\nnetmask 255.0.0.0\ngateway 10.0.0.1\niface eth0 inet static\n", std::nullopt},
    {"a key that is missing is read from the first line, and counts if an address stands there",
     "7 bytes10.0.0.1\niface eth0 inet static\naddress 10.1.2.3\nnetmask 255.0.0.0\n#nameserver 9.9.9.9\n", complete},
    {"junk behind a value", "iface eth0 inet static\naddress 10.1.2.3 x\nnetmask 255.0.0.0\ngateway 10.0.0.1\n",
     std::nullopt},
    {"junk before a value", "iface eth0 inet static\naddress  x 10.1.2.3\nnetmask 255.0.0.0\ngateway 10.0.0.1\n",
     std::nullopt},
    {"more blanks",
     "iface eth0 inet static\naddress    10.1.2.3  \nnetmask\t255.0.0.0\ngateway 10.0.0.1\n#nameserver 9.9.9.9\n",
     complete},
    {"CR LF",
     "iface eth0 inet static\r\naddress 10.1.2.3\r\nnetmask 255.0.0.0\r\ngateway 10.0.0.1\r\n#nameserver 9.9.9.9\r\n",
     complete},
    {"no line end behind the last value",
     "iface eth0 inet static\n#nameserver 9.9.9.9\naddress 10.1.2.3\nnetmask 255.0.0.0\ngateway 10.0.0.1", complete},
    {"NUL behind the values",
     bytes("iface eth0 inet static\naddress 10.1.2.3\0x\nnetmask 255.0.0.0\0\ngateway 10.0.0.1\0 9\n#nameserver "
           "9.9.9.9\0\n"),
     complete},
    {"NUL before a value", bytes("iface eth0 inet static\naddress \00010.1.2.3\nnetmask 255.0.0.0\ngateway 10.0.0.1\n"),
     std::nullopt},
    {"an old spelling", "iface eth0 inet static\naddress 10.1\nnetmask 255.0.0.0\ngateway 10.0.0.1\n", std::nullopt},
    {"the key is the file's end", "iface eth0 inet static\nnetmask 255.0.0.0\ngateway 10.0.0.1\naddress", std::nullopt},
};

TEST(InterfacesFileTest, OddFilesAreReadByTheirKeys)
{
    for (const OddFile &row : oddFiles) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(readStaticStanza(row.text), row.read);
    }
}

TEST(InterfacesFileTest, EveryPieceOfAFileCanBeRead)
{
    const QByteArray whole = fileWith(staticStanza(complete));
    for (qsizetype length = 0; length < whole.size(); ++length) {
        EXPECT_NE(readStaticStanza(whole.first(length)), EthernetSettings{}) << length;
        EXPECT_NE(readStaticStanza(whole.last(length)), EthernetSettings{}) << length;
    }
}

TEST(InterfacesFileTest, TenMegabytesOfKeysAreReadAtOnce)
{
    const QByteArray text = "iface eth0 inet static\n" + QByteArray("address").repeated(1'500'000);

    EXPECT_EQ(readStaticStanza(text), std::nullopt);
}

} // namespace
