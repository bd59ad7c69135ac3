#include "network/RoutingTable.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QByteArray headings = "Kernel IP routing table\n"
                            "Destination     Gateway         Genmask         Flags Metric Ref    Use Iface\n";

/** All of a literal, NULs included. */
template <size_t size> QByteArray bytes(const char (&literal)[size])
{
    return QByteArray(literal, size - 1);
}

struct Row
{
    const char *title;
    QByteArray line;
    QStringList gateways;
};

const Row rows[] = {
    {"a default route",
     "0.0.0.0         192.168.10.1    0.0.0.0         UG    0      0        0 eth0\n",
     {u"192.168.10.1"_s}},
    {"any other route",
     "10.7.0.0        192.168.10.9    255.255.0.0     UG    0      0        0 eth0\n",
     {u"192.168.10.9"_s}},
    {"no gateway", "192.168.10.0    0.0.0.0         255.255.255.0   U     0      0        0 eth0\n", {}},
    {"another interface", "0.0.0.0         192.168.10.1    0.0.0.0         UG    0      0        0 can0\n", {}},
    {"an interface of a longer name",
     "0.0.0.0         192.168.10.1    0.0.0.0         UG    0      0        0 eth00\n",
     {}},
    {"no line end", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0", {u"192.168.10.1"_s}},
    {"CR LF", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0\r\n", {u"192.168.10.1"_s}},
    {"a tab behind the interface", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0\t\n", {u"192.168.10.1"_s}},
    {"a blank behind the interface is a ninth column", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0 \n", {}},
    {"a blank before the line", " 0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0\n", {}},
    {"a name as destination", "default 192.168.10.1 0.0.0.0 UG 0 0 0 eth0\n", {}},
    {"a column less", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 eth0\n", {}},
    {"a column more", "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 0 eth0\n", {}},
    {"tabs between the columns", "0.0.0.0\t192.168.10.1\t0.0.0.0\tUG\t0\t0\t0\teth0\n", {}},
    {"a gateway that is no address", "1 * x x x x x eth0\n", {u"*"_s}},
    {"another spelling of no gateway", "1 0.0.0.00 x x x x x eth0\n", {u"0.0.0.00"_s}},
    {"NUL behind the interface", bytes("1 2 3 4 5 6 7 eth0\0 9\n"), {u"2"_s}},
    {"NUL in the line", bytes("1 2 3\0 4 5 6 7 eth0\n"), {}},
    {"NUL first", bytes("\0001 2 3 4 5 6 7 eth0\n"), {}},
    {"two routes",
     "0.0.0.0 192.168.10.1 0.0.0.0 UG 0 0 0 eth0\n10.0.0.0 192.168.10.2 255.0.0.0 UG 0 0 0 eth0\n",
     {u"192.168.10.1"_s, u"192.168.10.2"_s}},
    {"nothing", "", {}},
    {"empty lines", "\n\n\n", {}},
    {"bytes beyond ASCII", "\xb2 2 3 4 5 6 7 eth0\n\xff\xfe\n", {}},
};

TEST(RoutingTableTest, GatewaysOfThePortAreFound)
{
    for (const Row &row : rows) {
        SCOPED_TRACE(row.title);
        EXPECT_EQ(ethernetGateways(headings + row.line), row.gateways);
    }
}

TEST(RoutingTableTest, MegabytesOfBlanksAreReadAtOnce)
{
    EXPECT_EQ(ethernetGateways("1" + QByteArray(10'000'000, ' ') + "eth0\n"), QStringList());
    EXPECT_EQ(ethernetGateways(QByteArray("1 ").repeated(1'000'000)), QStringList());
}

/** The device's own network: the port and some routes, shown by the real tool. */
class RealRouteTest : public testing::Test
{
protected:
    static QByteArray run(const QString &program, const QString &arguments)
    {
        QProcess tool;
        tool.start(program, arguments.split(u' '));
        EXPECT_TRUE(tool.waitForFinished());
        EXPECT_EQ(tool.exitCode(), 0) << tool.readAllStandardError().constData();
        return tool.readAllStandardOutput();
    }

    static void SetUpTestSuite()
    {
        run(u"ip"_s, u"link add eth0 type veth peer name far0"_s);
        run(u"ip"_s, u"link set far0 up"_s);
        run(u"ip"_s, u"addr add 192.168.10.7/24 dev eth0"_s);
        run(u"ip"_s, u"link set eth0 up"_s);
    }

    static void TearDownTestSuite() { run(u"ip"_s, u"link del eth0"_s); }

    static QStringList gateways() { return ethernetGateways(run(u"route"_s, u"-n"_s)); }
};

TEST_F(RealRouteTest, NetworkOfThePortAloneHasNoGateway)
{
    EXPECT_EQ(gateways(), QStringList());
}

TEST_F(RealRouteTest, RoutesAreListedWithTheirGateways)
{
    run(u"ip"_s, u"route add default via 192.168.10.1"_s);
    EXPECT_EQ(gateways(), QStringList(u"192.168.10.1"_s));

    run(u"ip"_s, u"route add 10.0.0.0/8 via 192.168.10.2"_s);
    EXPECT_EQ(gateways(), QStringList({u"192.168.10.1"_s, u"192.168.10.2"_s}));
}

} // namespace
