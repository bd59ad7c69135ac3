#include "network/ConnmanService.h"

#include "Mocks.h"

#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using testing::Contains;

namespace {

class ConnmanServiceTest : public testing::Test
{
protected:
    ConnmanService service;
};

TEST_F(ConnmanServiceTest, WithoutConnmanNothingIsTold)
{
    const ConnmanSettings settings = service.getConnmanNetworkSettings();

    EXPECT_FALSE(settings.address || settings.netmask || settings.dhcp || settings.nameserver);
}

TEST_F(ConnmanServiceTest, LeaseIsToldWithItsMethodAndNameServer)
{
    const Connman connman;

    const ConnmanSettings settings = service.getConnmanNetworkSettings();

    EXPECT_EQ(settings.address, QHostAddress(u"192.168.10.77"_s));
    EXPECT_EQ(settings.netmask, QHostAddress(u"255.255.255.0"_s));
    EXPECT_EQ(settings.dhcp, true);
    EXPECT_EQ(settings.nameserver, u"192.168.10.1"_s);
}

TEST_F(ConnmanServiceTest, FixedAddressIsToldAsItWasSet)
{
    const Connman connman;
    ASSERT_EQ(service.setConnmanManual(false, u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s), QString());
    service.setConnmanNameservers(QString());

    const ConnmanSettings settings = service.getConnmanNetworkSettings();

    EXPECT_EQ(settings.address, QHostAddress(u"10.1.2.3"_s));
    EXPECT_EQ(settings.netmask, QHostAddress(u"255.0.0.0"_s));
    EXPECT_EQ(settings.dhcp, false);
    ASSERT_TRUE(settings.nameserver);
    EXPECT_TRUE(settings.nameserver->isNull());
}

TEST_F(ConnmanServiceTest, FirstNameServerComesStraightFromConnman)
{
    EXPECT_EQ(service.getConnmanNameserver(), QString());

    const Connman connman;
    EXPECT_EQ(service.getConnmanNameserver(), u"192.168.10.1"_s);
}

TEST_F(ConnmanServiceTest, NameServerThatConnmanFailsToTellIsLoggedAndEmpty)
{
    {
        const Connman connman;
        ASSERT_EQ(service.getConnmanNameserver(), u"192.168.10.1"_s);
    }
    const Messages messages;

    EXPECT_EQ(service.getConnmanNameserver(), QString());

    EXPECT_THAT(
        messages.texts(),
        Contains(u"NetworkInterface::getConnmanNameserver: net.connman/net.connmanService.GetProperty failed."_s));
}

TEST_F(ConnmanServiceTest, BothFamiliesOfAddressesCanBeSet)
{
    EXPECT_EQ(service.setConnmanManual(true, u"a"_s, u"b"_s, u"c"_s), u"no service"_s);
    EXPECT_EQ(service.setConnmanMethod(true, u"auto"_s), u"no service"_s);

    const Connman connman;
    EXPECT_EQ(service.setConnmanManual(true, u"2001:db8::7"_s, u"64"_s, u"2001:db8::1"_s), QString());
    EXPECT_EQ(service.setConnmanMethod(false, u"off"_s), QString());

    const QVariantMap manual{{u"Method"_s, u"manual"_s},
                             {u"Address"_s, u"2001:db8::7"_s},
                             {u"Netmask"_s, u"64"_s},
                             {u"Gateway"_s, u"2001:db8::1"_s}};
    const QVariantMap off{{u"Method"_s, u"off"_s}};
    EXPECT_EQ(Connman::propertiesSet(),
              (QList<QVariantList>{{u"IPv6.Configuration"_s, manual}, {u"IPv4.Configuration"_s, off}}));
}

} // namespace
