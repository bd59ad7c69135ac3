// The way to a listening socket, step by step, with a kernel of the test's own: PCs seldom have a CAN port.

#include "can/CanErrorListener.h"

#include "fake/FakePlatform.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/can.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

constexpr int canPort = 7; // the interface index of "can0"

/** What the kernel knows of CAN, while one of these lives. Its sockets are one end of a pair. */
struct FakeKernel
{
    FakeKernel() { current = this; }
    ~FakeKernel()
    {
        if (peer >= 0)
            ::close(peer);
        current = nullptr;
    }
    FakeKernel(const FakeKernel &) = delete;
    FakeKernel &operator=(const FakeKernel &) = delete;

    int refuse(const QString &call)
    {
        calls.append(call);
        errno = refused.value(call.section(u'(', 0, 0));
        return errno == 0 ? 0 : -1;
    }

    QHash<QString, int> refused; // name of a call to the errno it fails with
    QStringList calls;
    int socket = -1; // the listener's
    int peer = -1;

    static inline FakeKernel *current = nullptr;
};

template <typename Function> Function *real(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

/** Descriptors that the kernel of the test has given out, and those that are none. */
bool isOfTheTest(int descriptor)
{
    return FakeKernel::current && (descriptor == -1 || descriptor == FakeKernel::current->socket);
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int socket(int family, int type, int protocol) noexcept
{
    static const auto realSocket = real<int(int, int, int)>("socket");
    if (!FakeKernel::current || family != PF_CAN)
        return realSocket(family, type, protocol);
    FakeKernel &kernel = *FakeKernel::current;
    if (kernel.refuse(u"socket(%1, %2, %3)"_s.arg(family).arg(type & ~SOCK_CLOEXEC).arg(protocol)) != 0)
        return -1;
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | (type & SOCK_CLOEXEC), 0, ends.data()) != 0)
        return -1;
    kernel.socket = ends[0];
    kernel.peer = ends[1];
    return kernel.socket;
}

__attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    static const auto realIoctl = real<int(int, unsigned long, ...)>("ioctl");
    va_list rest;
    va_start(rest, request);
    void *const argument = va_arg(rest, void *);
    va_end(rest);
    if (request != SIOCGIFINDEX || !isOfTheTest(descriptor))
        return realIoctl(descriptor, request, argument);
    auto *const interface = static_cast<ifreq *>(argument);
    const QString name = QString::fromLatin1(interface->ifr_name);
    const int result = FakeKernel::current->refuse(u"ioctl(%1)"_s.arg(name));
    if (result == 0)
        interface->ifr_ifindex = canPort;
    return result;
}

__attribute__((visibility("default"))) int bind(int descriptor, const sockaddr *address, socklen_t length) noexcept
{
    static const auto realBind = real<int(int, const sockaddr *, socklen_t)>("bind");
    if (!isOfTheTest(descriptor))
        return realBind(descriptor, address, length);
    sockaddr_can can{};
    std::memcpy(&can, address, std::min(size_t(length), sizeof can));
    return FakeKernel::current->refuse(u"bind(%1, %2, %3)"_s.arg(can.can_family).arg(can.can_ifindex).arg(length));
}

__attribute__((visibility("default"))) int setsockopt(int descriptor, int level, int name, const void *value,
                                                      socklen_t length) noexcept
{
    static const auto realSetsockopt = real<int(int, int, int, const void *, socklen_t)>("setsockopt");
    if (!isOfTheTest(descriptor))
        return realSetsockopt(descriptor, level, name, value, length);
    unsigned mask = 0;
    std::memcpy(&mask, value, std::min(size_t(length), sizeof mask));
    return FakeKernel::current->refuse(u"setsockopt(%1, %2, %3, %4)"_s.arg(level).arg(name).arg(mask).arg(length));
}

} // extern "C"

namespace {

class CanErrorListenerSetUpTest : public testing::Test
{
protected:
    CanErrorListenerSetUpTest() { clearPlatformCalls(); }

    static bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

    void sendFrame(canid_t id)
    {
        can_frame frame{};
        frame.can_id = id;
        ASSERT_EQ(::write(kernel.peer, &frame, sizeof frame), static_cast<ssize_t>(sizeof frame));
    }

    FakeKernel kernel;
};

TEST_F(CanErrorListenerSetUpTest, AsksForMissingAcknowledgementsOfThePort)
{
    const CanErrorListener listener(nullptr);

    EXPECT_THAT(kernel.calls, ElementsAre(u"socket(29, 3, 1)"_s, u"ioctl(can0)"_s, u"bind(29, 7, 16)"_s,
                                          u"setsockopt(101, 2, 32, 4)"_s));
    EXPECT_TRUE(listener.isListening());
    EXPECT_EQ(listener.setUpError(), 0);
}

TEST_F(CanErrorListenerSetUpTest, NoChildProcessGetsTheSocket)
{
    const CanErrorListener listener(nullptr);

    EXPECT_EQ(::fcntl(kernel.socket, F_GETFD), FD_CLOEXEC);
}

TEST_F(CanErrorListenerSetUpTest, FramesBecomeEventsInTheEventLoop)
{
    const CanErrorListener listener(nullptr);
    ASSERT_NE(listener.findChild<QSocketNotifier *>(), nullptr);

    sendFrame(0x20);
    sendFrame(CAN_ERR_FLAG | 0x20);
    sendFrame(CAN_ERR_FLAG | 0x40);

    EXPECT_TRUE(waitUntil([] { return platformCalls().size() >= 2; }));
    EXPECT_THAT(platformCallTexts(),
                ElementsAre(u"SystemEvent.canError(\"no ack received on transmission\", 32, \"/system/can\")"_s,
                            u"SystemEvent.canError(\"bus off\", 64, \"/system/can\")"_s));
}

TEST_F(CanErrorListenerSetUpTest, SocketEndsWithTheListener)
{
    {
        const CanErrorListener listener(nullptr);
        ASSERT_TRUE(isOpen(kernel.socket));
    }

    EXPECT_FALSE(isOpen(kernel.socket));
    char byte = 0;
    EXPECT_EQ(::read(kernel.peer, &byte, 1), 0);
}

struct Refusal
{
    const char *name;
    QHash<QString, int> refused;
    int error;
    QStringList calls;
};

class CanErrorListenerRefusalTest : public CanErrorListenerSetUpTest, public testing::WithParamInterface<Refusal>
{
};

TEST_P(CanErrorListenerRefusalTest, LeavesItSilentWithTheLastCause)
{
    kernel.refused = GetParam().refused;

    const CanErrorListener listener(nullptr);

    EXPECT_FALSE(listener.isListening());
    EXPECT_EQ(listener.setUpError(), GetParam().error);
    EXPECT_EQ(listener.findChild<QSocketNotifier *>(), nullptr);
    EXPECT_EQ(kernel.calls, GetParam().calls);
    EXPECT_TRUE(kernel.socket == -1 || !isOpen(kernel.socket));
}

const QString socketCall = u"socket(29, 3, 1)"_s;
const QString indexCall = u"ioctl(can0)"_s;
const QString filterCall = u"setsockopt(101, 2, 32, 4)"_s;

INSTANTIATE_TEST_SUITE_P(Calls, CanErrorListenerRefusalTest,
                         testing::Values(Refusal{"NoCanAtAll",
                                                 {{u"socket"_s, EAFNOSUPPORT},
                                                  {u"ioctl"_s, EBADF},
                                                  {u"bind"_s, EBADF},
                                                  {u"setsockopt"_s, ENOTSOCK}},
                                                 ENOTSOCK,
                                                 {socketCall, indexCall, u"bind(29, -1, 16)"_s, filterCall}},
                                         Refusal{"NoPort",
                                                 {{u"ioctl"_s, ENODEV}, {u"bind"_s, ENXIO}, {u"setsockopt"_s, EBADF}},
                                                 EBADF,
                                                 {socketCall, indexCall, u"bind(29, -1, 16)"_s, filterCall}},
                                         Refusal{"NoBind",
                                                 {{u"bind"_s, ENXIO}, {u"setsockopt"_s, EBADF}},
                                                 EBADF,
                                                 {socketCall, indexCall, u"bind(29, 7, 16)"_s, filterCall}},
                                         Refusal{"NoFilter",
                                                 {{u"setsockopt"_s, ENOPROTOOPT}},
                                                 ENOPROTOOPT,
                                                 {socketCall, indexCall, u"bind(29, 7, 16)"_s, filterCall}}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(CanErrorListenerSetUpTest, PortWithoutIndexIsListenedToWhereTheBindSucceeds)
{
    kernel.refused = {{u"ioctl"_s, ENODEV}};

    const CanErrorListener listener(nullptr);

    EXPECT_TRUE(listener.isListening());
    EXPECT_EQ(listener.setUpError(), ENODEV);
}

} // namespace
