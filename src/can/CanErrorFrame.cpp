#include "can/CanErrorFrame.h"

#include <linux/can.h>
#include <linux/can/error.h>

#include <array>
#include <cstring>

using namespace Qt::StringLiterals;
using qmz::SystemEvent;

namespace {

struct ErrorClass
{
    canid_t bit;
    const char16_t *text;
};

constexpr std::array<ErrorClass, 9> errorClasses{{
    {CAN_ERR_TX_TIMEOUT, u"transmit timeout"},
    {CAN_ERR_LOSTARB, u"lost arbitration"},
    {CAN_ERR_CRTL, u"controller problem"},
    {CAN_ERR_PROT, u"procrotocol violation"},
    {CAN_ERR_TRX, u"tranceiver status"},
    {CAN_ERR_ACK, u"no ack received on transmission"},
    {CAN_ERR_BUSOFF, u"bus off"},
    {CAN_ERR_BUSERROR, u"bus error"},
    {CAN_ERR_RESTARTED, u"controller restarted"},
}};

} // namespace

QList<CanBusError> canErrorsIn(QByteArrayView bytes)
{
    can_frame frame{};
    if (bytes.size() != sizeof frame)
        return {CanBusError{SystemEvent::UnspecifiedError, u"unspecified error"_s}};
    std::memcpy(&frame, bytes.data(), sizeof frame);

    QList<CanBusError> errors;
    for (const ErrorClass &errorClass : errorClasses) {
        if ((frame.can_id & CAN_ERR_FLAG) && (frame.can_id & errorClass.bit))
            errors.append({static_cast<SystemEvent::CanError>(errorClass.bit), QString::fromUtf16(errorClass.text)});
    }
    return errors;
}
