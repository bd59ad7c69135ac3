#include "logtime/NtpFile.h"

#include "support/QtPrinting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct Form
{
    const char *name;
    QString server;
    QString dhcpServer;
    QByteArray serverLines;
};

class NtpFileTest : public testing::TestWithParam<Form>
{
};

TEST_P(NtpFileTest, ListsTheServersBelowTheRestriction)
{
    EXPECT_EQ(ntpFile(GetParam().server, GetParam().dhcpServer),
              "# ntp.conf written by nodekeep, all changes will be lost!\n"
              "# Prohibit general access to this service\n"
              "restrict 127.0.0.1\n" +
                  GetParam().serverLines);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, NtpFileTest,
    testing::Values(Form{"Both", u"ntp.example"_s, u"10.0.0.1"_s,
                         "server ntp.example iburst prefer minpoll 4 maxpoll 4\n"
                         "server 10.0.0.1 iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"UsersAlone", u"ntp.example"_s, {}, "server ntp.example iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"NetworksAlone", {}, u"10.0.0.1"_s, "server 10.0.0.1 iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"Neither", {}, {}, "server 127.0.0.1 iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"SameTwice", u"a"_s, u"a"_s,
                         "server a iburst prefer minpoll 4 maxpoll 4\nserver a iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"Unchecked", u" a \n#b"_s, {}, "server  a \n#b iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"Placeholder", u"%1%2"_s, u"%s"_s,
                         "server %1%2 iburst prefer minpoll 4 maxpoll 4\n"
                         "server %s iburst prefer minpoll 4 maxpoll 4\n"},
                    Form{"BeyondAscii", u"büro"_s, {}, "server b\xc3\xbcro iburst prefer minpoll 4 maxpoll 4\n"}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
