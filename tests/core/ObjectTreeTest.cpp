// What is on the bus while the objects are made.

#include "core/ObjectTree.h"

#include "bootenv/FakeFlash.h"
#include "fake/FakePlatform.h"
#include "network/ConnmanService.h"
#include "network/Mocks.h"
#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using testing::Contains;
using testing::Not;

extern "C" [[gnu::visibility("default")]] const char *__lsan_default_suppressions();

const char *__lsan_default_suppressions()
{
    return "leak:udev_monitor_new_from_netlink"; // a monitor is kept to the end, as the daemon has one for good
}

namespace {

class ObjectTreeTest : public FakeFlash
{
};

TEST_F(ObjectTreeTest, PortIsNotOnTheBusDuringItsFirstLook)
{
    resetFakePlatform();
    writeFile(flashFile(u"config"_s), "a=1\n");
    const Connman connman;
    ASSERT_EQ(ConnmanService().setConnmanManual(false, u"10.1.2.3"_s, u"255.0.0.0"_s, u"10.0.0.1"_s), QString());
    BusClient client;
    QStringList seen;
    onPlatformCall([&](const PlatformCall &call) {
        if (toText(call) == u"Upstart.start(\"avahi_2dautoip\", false)"_s)
            seen = client.children(u"/system"_s);
    });

    const ObjectTree tree;

    onPlatformCall({});
    EXPECT_THAT(seen, Contains(u"constants"_s));
    EXPECT_THAT(seen, Not(Contains(u"network"_s)));
    EXPECT_THAT(client.children(u"/system"_s), Contains(u"network"_s));
}

} // namespace
