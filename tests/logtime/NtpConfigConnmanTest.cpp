// The network's server, which connman reports, and what connman is told.

#include "NtpFixture.h"

#include "FakeService.h"
#include "support/BusClient.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

const QString serviceInterface = u"net.connman.Service"_s;
const QString servicePath = u"/net/connman/service/ethernet_1"_s;

/** Some program on the bus; it owns no name. */
class NtpConfigConnmanTest : public NtpFixture
{
protected:
    NtpConfigConnmanTest() : reporter(QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"reporter"_s))
    {
        EXPECT_TRUE(reporter.isConnected());
        start();
    }
    ~NtpConfigConnmanTest() override { QDBusConnection::disconnectFromBus(u"reporter"_s); }

    void send(const QVariantList &arguments, const QString &path = servicePath,
              const QString &interface = serviceInterface, const QString &name = u"PropertyChanged"_s)
    {
        QDBusMessage signal = QDBusMessage::createSignal(path, interface, name);
        signal.setArguments(arguments);
        letBusCatchUp();
        EXPECT_TRUE(reporter.send(signal));
    }

    void report(const QString &property, const QVariant &value)
    {
        send({property, QVariant::fromValue(QDBusVariant(value))});
    }

    /** Reports and waits until it has had its effect. */
    void reportTimeservers(const QVariant &value)
    {
        const qsizetype before = platformCalls().size();
        report(u"Timeservers"_s, value);
        EXPECT_TRUE(waitUntil([&] { return platformCalls().size() >= before + 2; }));
    }

    /** Nothing that was sent so far has had an effect: a report behind it all is the first to have one. */
    void expectNothingHappened()
    {
        reportTimeservers(QStringList{u"last"_s});
        EXPECT_THAT(platformCallTexts(), ElementsAre(stopped, started));
        EXPECT_EQ(servers(), QStringList{u"last"_s});
    }

    QDBusConnection reporter;
};

// Reports

TEST_F(NtpConfigConnmanTest, OneAnnouncedServerIsUsedInPlaceOfTheStandIn)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_EQ(servers(), QStringList{u"10.0.0.1"_s});
    EXPECT_EQ(ntp->getDhcpServer(), u"10.0.0.1"_s);
    EXPECT_EQ(ntp->getUsedNtpServer(), QStringList{u"10.0.0.1"_s});
}

TEST_F(NtpConfigConnmanTest, AnnouncedServerStandsBehindTheUsers)
{
    ntp->setNtpServer(u"ntp.example"_s);

    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_EQ(servers(), (QStringList{u"ntp.example"_s, u"10.0.0.1"_s}));
    EXPECT_EQ(ntp->getUsedNtpServer(), (QStringList{u"ntp.example"_s, u"10.0.0.1"_s}));
}

TEST_F(NtpConfigConnmanTest, ServerOfMoreThanAMebibyteIsNone)
{
    const QString longest(1024 * 1024, u'x');

    reportTimeservers(QStringList{longest});
    EXPECT_EQ(ntp->getDhcpServer(), longest);
    reportTimeservers(QStringList{longest + u'x'});
    EXPECT_EQ(ntp->getDhcpServer(), QString());

    ntp->setNtpServer(longest);
    ntp->setNtpServer(longest + u'x');
    EXPECT_EQ(ntp->getServer(), longest);
}

TEST_F(NtpConfigConnmanTest, UsersServerIsPutInFrontOfTheAnnouncedOne)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});

    ntp->setNtpServer(u"ntp.example"_s);

    EXPECT_EQ(servers(), (QStringList{u"ntp.example"_s, u"10.0.0.1"_s}));
}

TEST_F(NtpConfigConnmanTest, JobIsStoppedThenTheFileWrittenThenTheJobStarted)
{
    QStringList steps;
    onPlatformCall([&](const PlatformCall &call) { steps += {toText(call), servers().join(u',')}; });

    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_EQ(steps, (QStringList{stopped, ownAddress, started, u"10.0.0.1"_s}));
}

TEST_F(NtpConfigConnmanTest, ReportChangesNoVariable)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_EQ(readFile(variablesPath), "#!/bin/sh\n");
}

TEST_F(NtpConfigConnmanTest, AnnouncedServerIsForgottenAtTheNextStart)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});

    start();

    EXPECT_EQ(ntp->getDhcpServer(), QString());
    EXPECT_EQ(servers(), QStringList{ownAddress});
}

TEST_F(NtpConfigConnmanTest, SameReportAgainRunsTheWholeSequenceAgain)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});
    removeAll(directoryPath);

    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_THAT(platformCallTexts(), ElementsAre(stopped, started, stopped, started));
    EXPECT_EQ(servers(), QStringList{u"10.0.0.1"_s});
}

TEST_F(NtpConfigConnmanTest, LatestReportCountsWhicheverServiceItIsFrom)
{
    reportTimeservers(QStringList{u"10.0.0.1"_s});

    send({u"Timeservers"_s, QVariant::fromValue(QDBusVariant(QStringList{u"10.0.0.2"_s}))}, u"/any/where"_s);

    EXPECT_TRUE(waitUntil([&] { return ntp->getDhcpServer() == u"10.0.0.2"_s; }));
}

TEST_F(NtpConfigConnmanTest, ReportIsLoggedWithTheServerInQuotes)
{
    const Messages messages;

    reportTimeservers(QStringList{u"10.0.0.1"_s});

    EXPECT_THAT(messages.texts(), testing::Contains(u"DHCP Timeserver: \"10.0.0.1\""_s));
}

TEST_F(NtpConfigConnmanTest, OtherPropertiesAreIgnored)
{
    for (const QString &name : {u"Timeservers.Configuration"_s, u"timeservers"_s, u"Timeserver"_s, u""_s, u"State"_s})
        report(name, QStringList{u"10.0.0.1"_s});

    expectNothingHappened();
}

TEST_F(NtpConfigConnmanTest, OtherSignalsAreIgnored)
{
    const QVariantList arguments{u"Timeservers"_s, QVariant::fromValue(QDBusVariant(QStringList{u"10.0.0.1"_s}))};

    send(arguments, servicePath, u"net.connman.Manager"_s);
    send(arguments, servicePath, serviceInterface, u"PropertiesChanged"_s);

    expectNothingHappened();
}

TEST_F(NtpConfigConnmanTest, SignalsWithOtherArgumentsAreIgnored)
{
    const QString name = u"Timeservers"_s;
    const QVariant variant = QVariant::fromValue(QDBusVariant(u"10.0.0.1"_s));
    const QVariant structure = QVariant::fromValue(QVariantMap{{name, u"10.0.0.1"_s}});

    for (const QVariantList &arguments : {QVariantList{},
                                          {name},
                                          {variant},
                                          {name, name},
                                          {name, QStringList{name}},
                                          {variant, name},
                                          {5, variant},
                                          {name, structure},
                                          {name, variant, name},
                                          {name, variant, variant},
                                          {QStringList{name}, variant},
                                          {QVariant::fromValue(QDBusObjectPath(u"/"_s)), variant},
                                          {true},
                                          {QByteArray("\0\xff", 2), variant}})
        send(arguments);

    expectNothingHappened();
}

// What "Timeservers" may hold

struct Value
{
    const char *name;
    QVariant value;
    QString server;

    friend void PrintTo(const Value &row, std::ostream *out) { *out << row.name; }
};

class NtpConfigValueTest : public NtpConfigConnmanTest, public testing::WithParamInterface<Value>
{
};

TEST_P(NtpConfigValueTest, YieldsTheServer)
{
    reportTimeservers(QStringList{u"before"_s});

    reportTimeservers(GetParam().value);

    EXPECT_EQ(ntp->getDhcpServer(), GetParam().server);
    EXPECT_EQ(servers(), QStringList{GetParam().server.isEmpty() ? ownAddress : GetParam().server});
}

QVariant arrayOfStructures()
{
    QDBusArgument list;
    list.beginArray(QMetaType::fromType<QString>());
    list << u"10.0.0.1"_s;
    list.endArray();
    QDBusArgument structure;
    structure.beginStructure();
    structure << u"10.0.0.1"_s << 5;
    structure.endStructure();
    return QVariantList{QVariant::fromValue(list), QVariant::fromValue(structure)};
}

QVariant structure()
{
    QDBusArgument argument;
    argument.beginStructure();
    argument << u"10.0.0.1"_s << 5;
    argument.endStructure();
    return QVariant::fromValue(argument);
}

const QVariant path = QVariant::fromValue(QDBusObjectPath(u"/a"_s)); // it depends on Qt's version what its text is

INSTANTIATE_TEST_SUITE_P(
    Values, NtpConfigValueTest,
    testing::Values(Value{"OneServer", QStringList{u"10.0.0.1"_s}, u"10.0.0.1"_s}, Value{"NoServer", QStringList{}, {}},
                    Value{"TwoServers", QStringList{u"10.0.0.1"_s, u"10.0.0.2"_s}, {}},
                    Value{"ThreeServers", QStringList{u"10.0.0.1"_s, u"10.0.0.2"_s, u"10.0.0.3"_s}, {}},
                    Value{"EmptyServer", QStringList{u""_s}, {}}, Value{"Text", u"10.0.0.1"_s, u"10.0.0.1"_s},
                    Value{"EmptyText", u""_s, {}}, Value{"Number", 5, u"5"_s},
                    Value{"NegativeNumber", qlonglong(-7), u"-7"_s}, Value{"Fraction", 1.5, u"1.5"_s},
                    Value{"Truth", true, u"true"_s}, Value{"Bytes", QByteArray("10.0.0.1"), u"10.0.0.1"_s},
                    Value{"Path", path, path.toString()}, Value{"Dictionary", QVariantMap{{u"a"_s, u"10.0.0.1"_s}}, {}},
                    Value{"Structure", structure(), {}}, Value{"NestedContainers", arrayOfStructures(), {}},
                    Value{"Variant", QVariant::fromValue(QDBusVariant(u"10.0.0.1"_s)), {}}),
    [](const auto &row) { return std::string(row.param.name); });

// What connman is told

TEST_F(NtpConfigConnmanTest, ConnmanIsToldToLeaveTheClockAlone)
{
    const FakeService connman(u"net.connman"_s, u"/"_s);

    ASSERT_TRUE(QMetaObject::invokeMethod(ntp.get(), "connmanStarted"));

    ASSERT_EQ(connman.calls().size(), 1);
    const QDBusMessage call = connman.calls().constFirst();
    EXPECT_EQ(call.path(), u"/"_s);
    EXPECT_EQ(call.interface(), u"net.connman.Clock"_s);
    EXPECT_EQ(call.member(), u"SetProperty"_s);
    EXPECT_EQ(call.signature(), u"sv"_s);
    EXPECT_EQ(call.arguments().value(0), QVariant(u"TimeUpdates"_s));
    EXPECT_EQ(call.arguments().value(1).value<QDBusVariant>().variant(), QVariant(u"manual"_s));
    EXPECT_TRUE(call.isReplyRequired());
}

TEST_F(NtpConfigConnmanTest, ConnmanIsToldAgainAtEachOfItsStarts)
{
    const FakeService connman(u"net.connman"_s, u"/"_s, [](const QDBusMessage &call) {
        return call.createErrorReply(u"net.connman.Error.PermissionDenied"_s, u"Permission denied"_s);
    });

    for (int round = 0; round < 3; ++round)
        ASSERT_TRUE(QMetaObject::invokeMethod(ntp.get(), "connmanStarted"));

    EXPECT_EQ(connman.calls().size(), 3);
}

TEST_F(NtpConfigConnmanTest, StartOfConnmanTouchesNeitherFileNorJob)
{
    removeAll(directoryPath);

    ASSERT_TRUE(QMetaObject::invokeMethod(ntp.get(), "connmanStarted"));

    EXPECT_FALSE(fileExists(directoryPath));
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST(NtpConfigConnmanSlotTest, TakesTheSignalOfAStartWhateverItSays)
{
    EXPECT_TRUE(QMetaObject::checkConnectArgs("connmanStarted(bool)", "connmanStarted()"));
    EXPECT_GE(NtpConfig::staticMetaObject.indexOfSlot("connmanStarted()"), 0);
}

} // namespace
