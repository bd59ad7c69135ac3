#include "can/CanErrorListener.h"

#include "can/CanErrorFrame.h"

#include <qmz/SystemEvent.h>

#include <QSocketNotifier>

#include <linux/can.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

using namespace Qt::StringLiterals;
using qmz::SystemEvent;

namespace {

const QString origin = u"/system/can"_s;

} // namespace

CanErrorListener::CanErrorListener(QObject *parent)
    : QObject(parent), socket(::socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW))
{
    bindToPort(requestIndex());
    setErrorFilter();
    if (socket == -1)
        return;

    notifier = new QSocketNotifier(socket, QSocketNotifier::Read, this);
    if (!connect(notifier, &QSocketNotifier::activated, this, &CanErrorListener::dataReady))
        qFatal("failed to connect to socket notifier");
}

CanErrorListener::~CanErrorListener()
{
    if (socket == -1)
        return;
    ::shutdown(socket, SHUT_RDWR);
    ::close(socket);
    socket = -1;
}

/** @return -1 without a port, which no bind accepts: 0 would stand for every port. */
int CanErrorListener::requestIndex()
{
    ifreq request{};
    request.ifr_ifindex = -1;
    std::strcpy(request.ifr_name, "can0");
    if (::ioctl(socket, SIOCGIFINDEX, &request) != 0)
        lastError = errno;
    return request.ifr_ifindex;
}

void CanErrorListener::bindToPort(int interfaceIndex)
{
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = interfaceIndex;
    // The length that kernels without the later members of the structure know, too.
    constexpr socklen_t length = 16;
    if (::bind(socket, reinterpret_cast<const sockaddr *>(&address), length) != 0)
        fail();
}

void CanErrorListener::setErrorFilter()
{
    const can_err_mask_t mask = CAN_ERR_ACK;
    if (::setsockopt(socket, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, &mask, sizeof mask) != 0)
        fail();
}

void CanErrorListener::fail()
{
    lastError = errno;
    if (socket != -1)
        ::close(socket);
    socket = -1;
}

void CanErrorListener::dataReady(int readySocket)
{
    std::array<char, sizeof(can_frame)> bytes{};
    const ssize_t length = ::read(readySocket, bytes.data(), bytes.size());
    for (const CanBusError &error : canErrorsIn(QByteArrayView(bytes.data(), length > 0 ? length : 0)))
        SystemEvent::canError(error.text, error.code, origin);
}
