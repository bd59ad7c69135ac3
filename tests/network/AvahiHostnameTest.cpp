#include "network/AvahiHostname.h"

#include "Mocks.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

TEST(AvahiHostnameTest, FullHostNameIsAvahisOrADefault)
{
    EXPECT_EQ(getHostnameFqdn(), u"qmz.local"_s);

    const Avahi avahi;
    EXPECT_EQ(getHostnameFqdn(), u"unnamed.local"_s);
}

TEST(AvahiHostnameTest, HostNameIsAscii)
{
    const QByteArray name = "m\xc3\xbchle-\xe2\x82\xac\xff";
    ASSERT_EQ(::sethostname(name.constData(), static_cast<size_t>(name.size())), 0);

    EXPECT_EQ(announcedHostname(), u"m?hle-??"_s);
}

TEST(AvahiHostnameTest, AnnouncedNameIsTheKernels)
{
    ASSERT_EQ(::sethostname("node-7", 6), 0);
    const Avahi avahi;

    announceHostname();

    EXPECT_TRUE(QTest::qWaitFor([] { return getHostnameFqdn() == u"node-7.local"_s; }));
}

} // namespace
