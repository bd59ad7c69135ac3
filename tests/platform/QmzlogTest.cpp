#include "LoggedCalls.h"

#include <qmz/Qmzlog.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstring>

using namespace Qt::StringLiterals;
using qmz::qmzlog;

namespace {

/** Stands where the syslog daemon listens. */
class SyslogSocket
{
public:
    SyslogSocket() : descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        removeAll(u"/dev/log"_s);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, "/dev/log");
        EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }

    ~SyslogSocket()
    {
        ::closelog();
        ::close(descriptor);
        removeAll(u"/dev/log"_s);
    }
    Q_DISABLE_COPY_MOVE(SyslogSocket)

    /** The oldest line that has not been read yet; empty when there is none. */
    QByteArray next() const
    {
        QByteArray line(4096, '\0');
        const ssize_t size = ::recv(descriptor, line.data(), static_cast<std::size_t>(line.size()), 0);
        return line.left(std::max<qsizetype>(size, 0));
    }

private:
    int descriptor;
};

class QmzlogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        removeAll(platformLogDir);
        ::setlogmask(LOG_UPTO(LOG_DEBUG));
    }

    const SyslogSocket syslog;
};

QByteArray priorityField(int severity)
{
    return '<' + QByteArray::number(LOG_LOCAL5 | severity) + '>';
}

} // namespace

TEST_F(QmzlogTest, SendsTheFormattedTextWithIdentAndFacilityToSyslog)
{
    qmzlog.open(u"com.ozt.nodekeep"_s, LOG_LOCAL5, 0);

    qmzlog.msg(QtDebugMsg, "%s: disable code 0x%08x", "setPwDisable", 0x1003cU);

    const QByteArray line = syslog.next();
    EXPECT_TRUE(line.startsWith(priorityField(LOG_DEBUG))) << line.constData();
    EXPECT_TRUE(line.endsWith("com.ozt.nodekeep: setPwDisable: disable code 0x0001003c")) << line.constData();
}

TEST_F(QmzlogTest, GivesEachMessageTypeItsSeverity)
{
    qmzlog.open(u"ident"_s, LOG_LOCAL5, 0);
    const std::pair<QtMsgType, int> table[] = {{QtDebugMsg, LOG_DEBUG},
                                               {QtInfoMsg, LOG_INFO},
                                               {QtWarningMsg, LOG_WARNING},
                                               {QtCriticalMsg, LOG_ERR},
                                               {QtFatalMsg, LOG_CRIT}};

    for (const auto &[type, severity] : table) {
        qmzlog.msg(type, "text");
        EXPECT_TRUE(syslog.next().startsWith(priorityField(severity))) << type;
    }
}

TEST_F(QmzlogTest, KeepsBelowWarningsToItselfOnceTheLevelIsWarning)
{
    qmzlog.open(u"ident"_s, LOG_LOCAL5, 0);
    qmzlog.setSyslogLevelWarning();

    qmzlog.msg(QtDebugMsg, "debug");
    qmzlog.msg(QtInfoMsg, "info");
    qmzlog.msg(QtWarningMsg, "warning");

    EXPECT_TRUE(syslog.next().endsWith("ident: warning"));
    EXPECT_EQ(syslog.next(), QByteArray());
}

TEST_F(QmzlogTest, APercentSignInAnArgumentIsNoFormat)
{
    qmzlog.open(u"ident"_s, LOG_LOCAL5, 0);

    qmzlog.msg(QtWarningMsg, "%s", "100%s%n");

    EXPECT_TRUE(syslog.next().endsWith("ident: 100%s%n"));
}

TEST_F(QmzlogTest, RecordsEachOperation)
{
    qmzlog.open(u"ident"_s, LOG_LOCAL5, LOG_PID);
    qmzlog.setSyslogLevelWarning();
    qmzlog.msg(QtDebugMsg, "%s: rest interval  %d ms", "pwDisableTimeout", 0);

    EXPECT_EQ(loggedCalls(), (QStringList{u"Qmzlog.open[\"ident\",168,1]"_s, u"Qmzlog.setSyslogLevelWarning[]"_s,
                                          u"Qmzlog.msg[0,\"pwDisableTimeout: rest interval  0 ms\"]"_s}));
}

TEST(QmzlogWithoutSyslogTest, ReturnsWhenNobodyListens)
{
    removeAll(platformLogDir);
    removeAll(u"/dev/log"_s);

    qmzlog.open(u"ident"_s, LOG_LOCAL5, 0);
    qmzlog.msg(QtFatalMsg, "text");

    EXPECT_EQ(loggedLines().size(), 2);
}
