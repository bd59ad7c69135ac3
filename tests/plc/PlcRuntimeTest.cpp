// What the PLC runtime answers, and what is made of it.

#include "plc/PlcRuntime.h"

#include "plc/FakePlcRuntime.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusObjectPath>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace {

const QString apps = u"apps"_s;
const QString version = u"version"_s;

TEST(PlcRuntimeTest, AsksForTheApplicationsAndThenForTheVersion)
{
    const FakePlcRuntime runtime({u"One"_s, u"Two"_s}, 35);

    const std::optional<PlcState> state = askPlcRuntime();

    ASSERT_TRUE(state);
    EXPECT_EQ(state->applications, (QStringList{u"One"_s, u"Two"_s}));
    EXPECT_EQ(state->version, 35);
    EXPECT_EQ(runtime.calls(), (QStringList{u"com.ozt.codesys.apps()"_s, u"com.ozt.codesys.version()"_s}));
}

TEST(PlcRuntimeTest, RuntimeWithoutApplicationsIsNoFailure)
{
    const FakePlcRuntime runtime;

    const std::optional<PlcState> state = askPlcRuntime();

    ASSERT_TRUE(state);
    EXPECT_EQ(state->applications, QStringList());
}

TEST(PlcRuntimeTest, NothingWithoutTheRuntime)
{
    EXPECT_FALSE(askPlcRuntime());
}

TEST(PlcRuntimeTest, NothingWhenAMethodFailsAndBothAreCalled)
{
    for (const QString &failing : {apps, version}) {
        FakePlcRuntime runtime({u"One"_s}, 35);
        runtime.fail(failing);

        EXPECT_FALSE(askPlcRuntime()) << qPrintable(failing);
        EXPECT_EQ(runtime.calls().size(), 2);
    }
}

struct Version
{
    const char *name;
    QVariant sent;
    int number;
    QString text;

    friend void PrintTo(const Version &row, std::ostream *out) { *out << row.name; }
};

class PlcVersionTest : public testing::TestWithParam<Version>
{
};

TEST_P(PlcVersionTest, ReadsAsNumberAndAsText)
{
    const FakePlcRuntime runtime({}, GetParam().sent);

    const std::optional<PlcState> state = askPlcRuntime();

    ASSERT_TRUE(state);
    EXPECT_EQ(state->version.toInt(), GetParam().number);
    EXPECT_EQ(state->version.toString(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Types, PlcVersionTest,
                         testing::Values(Version{"Int", 35, 35, u"35"_s}, Version{"Negative", -1, -1, u"-1"_s},
                                         Version{"Unsigned", 35U, 35, u"35"_s},
                                         Version{"Long", qint64(35), 35, u"35"_s},
                                         Version{"Byte", QVariant::fromValue(uchar(35)), 35, u"35"_s},
                                         Version{"HighByte", QVariant::fromValue(uchar(200)), 200, u"200"_s},
                                         Version{"Double", 3.5, 4, u"3.5"_s}, Version{"Truth", true, 1, u"true"_s},
                                         Version{"NumberAsText", u"35"_s, 35, u"35"_s},
                                         Version{"TextThatIsNoNumber", u"3.5.14.10"_s, 0, u"3.5.14.10"_s},
                                         Version{"EmptyText", u""_s, 0, u""_s},
                                         Version{"Wrapped", QVariant::fromValue(QDBusVariant(35)), 35, u"35"_s}),
                         [](const auto &row) { return std::string(row.param.name); });

struct Lie
{
    const char *name;
    QString method;
    QVariantList answer;

    friend void PrintTo(const Lie &row, std::ostream *out) { *out << row.name; }
};

class LyingPlcRuntimeTest : public testing::TestWithParam<Lie>
{
};

TEST_P(LyingPlcRuntimeTest, IsLikeOneThatFails)
{
    FakePlcRuntime runtime({u"One"_s}, 35);
    runtime.answer(GetParam().method, GetParam().answer);

    EXPECT_FALSE(askPlcRuntime());
}

INSTANTIATE_TEST_SUITE_P(
    Lies, LyingPlcRuntimeTest,
    testing::Values(
        Lie{"NoApplications", apps, {}}, Lie{"ApplicationsAsText", apps, {u"One"_s}},
        Lie{"ApplicationsAsNumber", apps, {1}}, Lie{"ApplicationsAsMap", apps, {QVariantMap{{u"a"_s, 1}}}},
        Lie{"ApplicationsAsVariants", apps, {QVariantList{u"One"_s}}},
        Lie{"ApplicationsAsBytes", apps, {QByteArray("One")}},
        Lie{"ApplicationsWrapped", apps, {QVariant::fromValue(QDBusVariant(QStringList{u"One"_s}))}},
        Lie{"NoVersion", version, {}}, Lie{"VersionAsList", version, {QStringList{u"35"_s}}},
        Lie{"VersionAsMap", version, {QVariantMap{{u"a"_s, 1}}}}, Lie{"VersionAsBytes", version, {QByteArray("35")}},
        Lie{"VersionAsPath", version, {QVariant::fromValue(QDBusObjectPath(u"/35"_s))}},
        Lie{"VersionWrappedTwice", version, {QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(35))))}},
        Lie{"VersionWrapsAList", version, {QVariant::fromValue(QDBusVariant(QStringList{u"35"_s}))}}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
