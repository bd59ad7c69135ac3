#include "LoggedCalls.h"
#include "support/BusClient.h"

#include <qmz/SystemEvent.h>

#include <QDBusConnection>

using namespace Qt::StringLiterals;
using qmz::SystemEvent;

namespace {

const QString eventPath = u"/testsystemevent"_s;
const QString eventInterface = u"local.qmz.SystemEvent"_s;

struct Operation
{
    const char *name = nullptr;
    QVariantList args;
    const char *logged = nullptr;
};

const Operation operations[] = {
    {"firmwareUpdate", {4, u"/"_s}, R"([4,"/"])"},
    {"firmwareDeleted", {u"/loader/fw1"_s}, R"(["/loader/fw1"])"},
    {"reboot", {u"/"_s}, R"(["/"])"},
    {"codesysFileRemoved", {u"app.prg"_s, u"/loader"_s}, R"(["app.prg","/loader"])"},
    {"deviceNameChange", {u"node"_s, u"/"_s}, R"(["node","/"])"},
    {"hostnameInvalid", {u"a_b"_s, u"node"_s, u"/system"_s}, R"(["a_b","node","/system"])"},
    {"networkAddressChange", {u"DHCP"_s, u"/"_s}, R"(["DHCP","/"])"},
    {"canError", {u"bus off"_s, 64, u"/system/can"_s}, R"(["bus off",64,"/system/can"])"},
    {"pwResetSuccessful", {u"/"_s}, R"(["/"])"},
    {"pwResetVerifyFailed", {u"/"_s}, R"(["/"])"},
    {"pwResetFormatError", {u"/"_s}, R"(["/"])"},
    {"pwResetFileError", {u"/"_s}, R"(["/"])"},
    {"pwResetHostnameError", {u"/"_s}, R"(["/"])"},
    {"pwResetMacError", {u"/"_s}, R"(["/"])"},
};

QString loggedForm(const Operation &operation)
{
    return u"SystemEvent."_s + QLatin1StringView(operation.name) + QString::fromUtf8(operation.logged);
}

QString signatureOf(const Operation &operation)
{
    QString signature;
    for (const QVariant &arg : operation.args)
        signature += arg.typeId() == QMetaType::Int ? u'i' : u's';
    return signature;
}

class SystemEventTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        removeAll(platformLogDir);
        ASSERT_TRUE(QDBusConnection::systemBus().registerObject(eventPath, &event, QDBusConnection::ExportAllSlots));
    }

    SystemEvent event;
    BusClient client;
};

} // namespace

TEST_F(SystemEventTest, ShowsExactlyItsOperationsOnTheBusWithPlainTypes)
{
    QStringList expected;
    for (const Operation &operation : operations)
        expected.append(u"method "_s + QLatin1StringView(operation.name) + u'(' + signatureOf(operation) + u')');
    expected.sort();

    QStringList members = client.members(eventPath, eventInterface);
    members.sort();

    EXPECT_EQ(members, expected);
}

TEST_F(SystemEventTest, TellsEachEventThatABusClientSetsOff)
{
    QStringList expected;
    for (const Operation &operation : operations) {
        const QDBusMessage reply =
            client.call(eventPath, eventInterface, QLatin1StringView(operation.name), operation.args);
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << operation.name << qPrintable(reply.errorMessage());
        expected.append(loggedForm(operation));
    }

    EXPECT_EQ(loggedCalls(), expected);
}

TEST_F(SystemEventTest, TakesNumbersFromTheBusThatStandForNothing)
{
    client.call(eventPath, eventInterface, u"firmwareUpdate"_s, {-2147483647, u"/"_s});
    client.call(eventPath, eventInterface, u"canError"_s, {u"?"_s, 2147483647, u"/"_s});

    EXPECT_EQ(loggedCalls(), (QStringList{u"SystemEvent.firmwareUpdate[-2147483647,\"/\"]"_s,
                                          u"SystemEvent.canError[\"?\",2147483647,\"/\"]"_s}));
}

TEST_F(SystemEventTest, RefusesArgumentsOfOtherTypes)
{
    const QVariantList wrong[] = {{u"4"_s, u"/"_s}, {4}, {4, 4}, {4, u"/"_s, u"more"_s}, {}};

    for (const QVariantList &args : wrong)
        EXPECT_EQ(client.call(eventPath, eventInterface, u"firmwareUpdate"_s, args).type(), QDBusMessage::ErrorMessage);

    EXPECT_EQ(loggedCalls(), QStringList());
}

TEST(SystemEventNumbersTest, TheStagesOfAnUpdateAreZeroToFive)
{
    removeAll(platformLogDir);
    QStringList expected;
    int number = 0;

    for (const SystemEvent::FileUpload stage :
         {SystemEvent::UpdateFailed, SystemEvent::PackageReceived, SystemEvent::PackageUnpacked,
          SystemEvent::KernelVerified, SystemEvent::RootImageVerified, SystemEvent::UpdateStarted}) {
        SystemEvent::firmwareUpdate(stage, u"/"_s);
        expected.append(u"SystemEvent.firmwareUpdate[%1,\"/\"]"_s.arg(number++));
    }

    EXPECT_EQ(loggedCalls(), expected);
}

TEST(SystemEventNumbersTest, TheCanErrorsAreTheKernelsErrorClasses)
{
    removeAll(platformLogDir);
    QStringList expected;
    int number = 0;

    for (const SystemEvent::CanError code :
         {SystemEvent::UnspecifiedError, SystemEvent::TransmitTimeout, SystemEvent::LostArbitration,
          SystemEvent::ControllerProblem, SystemEvent::ProtocolViolation, SystemEvent::TransceiverStatus,
          SystemEvent::NoAcknowledgement, SystemEvent::BusOff, SystemEvent::BusError,
          SystemEvent::ControllerRestarted}) {
        SystemEvent::canError(u"text"_s, code, u"/system/can"_s);
        expected.append(u"SystemEvent.canError[\"text\",%1,\"/system/can\"]"_s.arg(number));
        number = number == 0 ? 1 : number * 2;
    }

    EXPECT_EQ(loggedCalls(), expected);
}
