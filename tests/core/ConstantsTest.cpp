#include "core/Constants.h"

#include "bootenv/FakeFlash.h"
#include "bootenv/OwnerOnBus.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <optional>

using namespace Qt::StringLiterals;
using testing::UnorderedElementsAre;

namespace {

class ConstantsTest : public FakeFlash
{
protected:
    /** A boot environment with these values comes to the bus. */
    void load(const QByteArray &values = "serial=\"4711\"\nempty=\n")
    {
        writeFile(flashFile(u"config"_s), "id=config\n");
        writeFile(flashFile(u"system"_s), values);
        owner.emplace();
        tools.clearCalls();
    }

    std::optional<OwnerOnBus> owner;
    Constants constants{nullptr};
};

TEST_F(ConstantsTest, WithoutABootEnvironmentAllIsEmpty)
{
    EXPECT_EQ(constants.get(u"serial"_s), u""_s);
    EXPECT_EQ(constants.variableList(), QStringList());
    EXPECT_FALSE(constants.isAvailable(u"serial"_s));
    EXPECT_FALSE(constants.set(u"serial"_s, u"1"_s));
    EXPECT_EQ(tools.calls(), QStringList());
}

TEST_F(ConstantsTest, ValuesAreAsStored)
{
    load();

    EXPECT_EQ(constants.get(u"serial"_s), u"\"4711\""_s);
    EXPECT_EQ(constants.get(u"empty"_s), u""_s);
    EXPECT_TRUE(constants.get(u"unknown"_s).isNull());
    EXPECT_THAT(constants.variableList(), UnorderedElementsAre(u"serial"_s, u"empty"_s));
}

TEST_F(ConstantsTest, ValueKeepsWhatTheBootEnvironmentTakesOff)
{
    load("");
    const QString value = u" \" a \" "_s;

    constants.set(u"padded"_s, value);

    EXPECT_EQ(constants.get(u"padded"_s), value);
    ASSERT_TRUE(owner->environment.lookupConfig(u"system"_s));
    EXPECT_EQ(owner->environment.getEnv(u"padded"_s), u" a "_s);
}

TEST_F(ConstantsTest, NameIsWrittenAsItStandsAndMayReadBackOtherwise)
{
    load("");

    constants.set(u"a=b"_s, u"1"_s);
    constants.set(u"c\nd"_s, u"2"_s);

    EXPECT_EQ(readFile(flashFile(u"system"_s)), "a=b=1\nc\nd=2\n");
    EXPECT_EQ(constants.get(u"a=b"_s), u"1"_s);
    EXPECT_EQ(constants.get(u"c\nd"_s), u"2"_s);

    owner.reset();
    owner.emplace();
    EXPECT_THAT(constants.variableList(), UnorderedElementsAre(u"a"_s, u"d"_s));
    EXPECT_EQ(constants.get(u"a"_s), u"b=1"_s);
    EXPECT_EQ(constants.get(u"d"_s), u"2"_s);
}

TEST_F(ConstantsTest, EmptyValueIsAvailable)
{
    load();

    EXPECT_TRUE(constants.isAvailable(u"empty"_s));
    EXPECT_FALSE(constants.isAvailable(u"unknown"_s));
}

TEST_F(ConstantsTest, ReadingLeavesTheSelectionAndTheFlash)
{
    load();

    static_cast<void>(constants.get(u"serial"_s));

    EXPECT_EQ(owner->environment.getEnv(u"id"_s), u"config"_s);
    EXPECT_EQ(tools.calls(), QStringList());
}

TEST_F(ConstantsTest, SettingSavesTheWholeEnvironment)
{
    load();
    owner->environment.setEnv(u"id"_s, u"changed"_s);

    EXPECT_TRUE(constants.set(u"serial"_s, u"1"_s));

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage}));
    EXPECT_EQ(readFile(flashFile(u"system"_s)), "serial=1\nempty=\n");
    EXPECT_EQ(readFile(flashFile(u"config"_s)), "id=changed\n");
}

TEST_F(ConstantsTest, EachSettingSavesAnew)
{
    load();

    constants.set(u"serial"_s, u"1"_s);
    constants.set(u"serial"_s, u"1"_s);

    EXPECT_EQ(tools.calls(), (QStringList{erasure, storage, erasure, storage}));
}

TEST_F(ConstantsTest, FirstAccessMakesAMissingStoreAndSelectsIt)
{
    writeFile(flashFile(u"config"_s), "id=config\n");
    owner.emplace();

    EXPECT_EQ(constants.variableList(), QStringList());

    EXPECT_EQ(storesOf(*owner), (QStringList{u"config"_s, u"system"_s}));
    EXPECT_EQ(owner->environment.getEnv(u"id"_s), u""_s);
}

TEST_F(ConstantsTest, BootEnvironmentIsLookedForAtEachAccess)
{
    load();
    EXPECT_TRUE(constants.isAvailable(u"serial"_s));

    owner.reset();
    EXPECT_FALSE(constants.isAvailable(u"serial"_s));

    load("other=1\n");
    EXPECT_TRUE(constants.isAvailable(u"other"_s));
}

} // namespace
