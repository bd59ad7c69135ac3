#include <qmz/SystemEvent.h>

#include "CallRecord.h"

namespace qmz {

SystemEvent::SystemEvent(QObject *parent) : QObject(parent) {}

void SystemEvent::firmwareUpdate(FileUpload stage, const QString &origin)
{
    firmwareUpdate(static_cast<int>(stage), origin);
}

void SystemEvent::canError(const QString &text, CanError code, const QString &origin)
{
    canError(text, static_cast<int>(code), origin);
}

void SystemEvent::firmwareUpdate(int stage, const QString &origin)
{
    recordCall("SystemEvent.firmwareUpdate", {stage, origin});
}

void SystemEvent::canError(const QString &text, int code, const QString &origin)
{
    recordCall("SystemEvent.canError", {text, code, origin});
}

void SystemEvent::firmwareDeleted(const QString &origin)
{
    recordCall("SystemEvent.firmwareDeleted", {origin});
}

void SystemEvent::reboot(const QString &origin)
{
    recordCall("SystemEvent.reboot", {origin});
}

void SystemEvent::codesysFileRemoved(const QString &file, const QString &origin)
{
    recordCall("SystemEvent.codesysFileRemoved", {file, origin});
}

void SystemEvent::deviceNameChange(const QString &name, const QString &origin)
{
    recordCall("SystemEvent.deviceNameChange", {name, origin});
}

void SystemEvent::hostnameInvalid(const QString &refused, const QString &current, const QString &origin)
{
    recordCall("SystemEvent.hostnameInvalid", {refused, current, origin});
}

void SystemEvent::networkAddressChange(const QString &address, const QString &origin)
{
    recordCall("SystemEvent.networkAddressChange", {address, origin});
}

void SystemEvent::pwResetSuccessful(const QString &origin)
{
    recordCall("SystemEvent.pwResetSuccessful", {origin});
}

void SystemEvent::pwResetVerifyFailed(const QString &origin)
{
    recordCall("SystemEvent.pwResetVerifyFailed", {origin});
}

void SystemEvent::pwResetFormatError(const QString &origin)
{
    recordCall("SystemEvent.pwResetFormatError", {origin});
}

void SystemEvent::pwResetFileError(const QString &origin)
{
    recordCall("SystemEvent.pwResetFileError", {origin});
}

void SystemEvent::pwResetHostnameError(const QString &origin)
{
    recordCall("SystemEvent.pwResetHostnameError", {origin});
}

void SystemEvent::pwResetMacError(const QString &origin)
{
    recordCall("SystemEvent.pwResetMacError", {origin});
}

} // namespace qmz
