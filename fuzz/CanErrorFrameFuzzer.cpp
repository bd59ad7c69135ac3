// Reads the errors in CAN frames: their codes have to be the classes of an error frame, each once and in order.

#include "FuzzTarget.h"

#include "can/CanErrorFrame.h"

#include <linux/can.h>

#include <cstring>

namespace {

constexpr canid_t knownClasses = 0x1ff;

/** The classes that a frame tells, as one number. */
canid_t classesIn(QByteArrayView frame)
{
    canid_t id = 0;
    std::memcpy(&id, frame.data(), sizeof id);
    return id & CAN_ERR_FLAG ? id & knownClasses : 0;
}

} // namespace

void checkInput(QByteArrayView input)
{
    canid_t told = 0;
    const QList<CanBusError> errors = canErrorsIn(input);
    for (const CanBusError &error : errors) {
        const auto code = static_cast<canid_t>(error.code);
        require(!error.text.isEmpty() && (told == 0 || code > told));
        told |= code;
    }
    if (input.size() == sizeof(can_frame))
        require(told == classesIn(input));
    else
        require(errors.size() == 1 && told == 0);
}
