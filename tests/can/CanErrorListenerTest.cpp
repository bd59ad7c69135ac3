#include "can/CanErrorListener.h"

#include "fake/FakePlatform.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <linux/can.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** A listener without a port, whose frames come from the test over a pair of sockets. */
class CanErrorListenerTest : public testing::Test
{
protected:
    CanErrorListenerTest()
    {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets.data()), 0);
        clearPlatformCalls();
    }
    ~CanErrorListenerTest() override
    {
        closePeer();
        ::close(sockets[1]);
    }

    void send(const void *bytes, size_t size)
    {
        ASSERT_EQ(::send(sockets[0], bytes, size, 0), static_cast<ssize_t>(size));
    }
    void sendFrame(canid_t id)
    {
        can_frame frame{};
        frame.can_id = id;
        frame.can_dlc = 8;
        send(&frame, sizeof frame);
    }
    void closePeer()
    {
        if (sockets[0] >= 0)
            ::close(sockets[0]);
        sockets[0] = -1;
    }

    QStringList eventsOfNextFrame()
    {
        listener.dataReady(sockets[1]);
        return platformCallTexts();
    }

    std::array<int, 2> sockets{-1, -1};
    CanErrorListener listener{nullptr};
};

QString event(const char *text, int code)
{
    return u"SystemEvent.canError(\"%1\", %2, \"/system/can\")"_s.arg(QString::fromLatin1(text)).arg(code);
}

const QString unspecified = event("unspecified error", 0);

struct ErrorClass
{
    canid_t bit;
    const char *text;
};

const std::array<ErrorClass, 9> errorClasses{{
    {0x001, "transmit timeout"},
    {0x002, "lost arbitration"},
    {0x004, "controller problem"},
    {0x008, "procrotocol violation"},
    {0x010, "tranceiver status"},
    {0x020, "no ack received on transmission"},
    {0x040, "bus off"},
    {0x080, "bus error"},
    {0x100, "controller restarted"},
}};

class CanErrorClassTest : public CanErrorListenerTest, public testing::WithParamInterface<ErrorClass>
{
};

TEST_P(CanErrorClassTest, IsAnEventOfItsOwn)
{
    sendFrame(CAN_ERR_FLAG | GetParam().bit);

    EXPECT_THAT(eventsOfNextFrame(), ElementsAre(event(GetParam().text, static_cast<int>(GetParam().bit))));
}

TEST_P(CanErrorClassTest, IsNoneInADataFrame)
{
    sendFrame(GetParam().bit);

    EXPECT_THAT(eventsOfNextFrame(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Classes, CanErrorClassTest, testing::ValuesIn(errorClasses));

TEST_F(CanErrorListenerTest, SeveralClassesAreSeveralEventsInOrder)
{
    sendFrame(CAN_ERR_FLAG | 0x60);

    EXPECT_THAT(eventsOfNextFrame(),
                ElementsAre(event("no ack received on transmission", 0x20), event("bus off", 0x40)));
}

TEST_F(CanErrorListenerTest, AllClassesAtOnce)
{
    QStringList all;
    for (const ErrorClass &errorClass : errorClasses)
        all.append(event(errorClass.text, static_cast<int>(errorClass.bit)));
    sendFrame(CAN_ERR_FLAG | 0x1ff);

    EXPECT_EQ(eventsOfNextFrame(), all);
}

TEST_F(CanErrorListenerTest, ErrorFrameOfNoKnownClassIsNoEvent)
{
    sendFrame(CAN_ERR_FLAG);
    EXPECT_THAT(eventsOfNextFrame(), IsEmpty());

    sendFrame(CAN_ERR_FLAG | 0x200 | 0x1000'0000);
    EXPECT_THAT(eventsOfNextFrame(), IsEmpty());
}

TEST_F(CanErrorListenerTest, OtherFlagsMakeNoErrorFrame)
{
    sendFrame(CAN_EFF_FLAG | CAN_RTR_FLAG | 0x1ff);

    EXPECT_THAT(eventsOfNextFrame(), IsEmpty());
}

TEST_F(CanErrorListenerTest, OtherFlagsDoNotHideAnError)
{
    sendFrame(CAN_EFF_FLAG | CAN_RTR_FLAG | CAN_ERR_FLAG | 0x40);

    EXPECT_THAT(eventsOfNextFrame(), ElementsAre(event("bus off", 0x40)));
}

TEST_F(CanErrorListenerTest, EveryFrameIsToldAnew)
{
    for (int count = 0; count < 3; ++count) {
        sendFrame(CAN_ERR_FLAG | 0x40);
        listener.dataReady(sockets[1]);
    }

    const QString busOff = event("bus off", 0x40);
    EXPECT_THAT(platformCallTexts(), ElementsAre(busOff, busOff, busOff));
}

TEST_F(CanErrorListenerTest, ShortFrameIsAnUnspecifiedError)
{
    can_frame frame{};
    frame.can_id = CAN_ERR_FLAG | 0x40;
    for (const size_t size : {size_t(1), size_t(4), size_t(15)}) {
        clearPlatformCalls();
        send(&frame, size);

        EXPECT_THAT(eventsOfNextFrame(), ElementsAre(unspecified)) << size;
    }
}

TEST_F(CanErrorListenerTest, LongFrameCountsByItsBeginning)
{
    std::array<can_frame, 2> frames{};
    frames[0].can_id = CAN_ERR_FLAG | 0x40;
    send(frames.data(), sizeof frames);

    EXPECT_THAT(eventsOfNextFrame(), ElementsAre(event("bus off", 0x40)));
}

TEST_F(CanErrorListenerTest, PeerThatIsGoneIsAnUnspecifiedErrorEachTime)
{
    closePeer();

    EXPECT_THAT(eventsOfNextFrame(), ElementsAre(unspecified));
    EXPECT_THAT(eventsOfNextFrame(), ElementsAre(unspecified, unspecified));
}

TEST_F(CanErrorListenerTest, SocketThatCannotBeReadIsAnUnspecifiedError)
{
    listener.dataReady(-1);

    EXPECT_THAT(platformCallTexts(), ElementsAre(unspecified));
}

TEST_F(CanErrorListenerTest, IsAConnectableSlot)
{
    sendFrame(CAN_ERR_FLAG | 0x40);

    ASSERT_TRUE(QMetaObject::invokeMethod(&listener, "dataReady", Q_ARG(int, sockets[1])));

    EXPECT_THAT(platformCallTexts(), ElementsAre(event("bus off", 0x40)));
}

TEST_F(CanErrorListenerTest, WithoutPortItIsSilentAndKeepsTheCause)
{
    const Messages messages;

    const CanErrorListener another(nullptr);
    QCoreApplication::processEvents();

    EXPECT_FALSE(another.isListening());
    EXPECT_EQ(another.setUpError(), EBADF); // of the filter, on the socket that was given up
    EXPECT_EQ(another.findChild<QSocketNotifier *>(), nullptr);
    EXPECT_THAT(messages.texts(), IsEmpty());
    EXPECT_THAT(platformCallTexts(), IsEmpty());
}

} // namespace
