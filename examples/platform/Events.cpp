// The gauge tells its events on the system bus, where its display and its modem listen.

#include <qmz/SystemEvent.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantList>

using namespace Qt::StringLiterals;

namespace {

void tell(const QString &event, const QVariantList &details)
{
    QDBusMessage signal = QDBusMessage::createSignal(u"/example/gauge"_s, u"example.gauge.Events"_s, event);
    signal.setArguments(details);
    QDBusConnection::systemBus().send(signal);
}

} // namespace

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
    tell(u"FirmwareUpdate"_s, {stage, origin});
}

void SystemEvent::canError(const QString &text, int code, const QString &origin)
{
    tell(u"CanError"_s, {text, code, origin});
}

void SystemEvent::firmwareDeleted(const QString &origin)
{
    tell(u"FirmwareDeleted"_s, {origin});
}

void SystemEvent::reboot(const QString &origin)
{
    tell(u"Reboot"_s, {origin});
}

// There are no applications that could be removed.
void SystemEvent::codesysFileRemoved(const QString & /*file*/, const QString & /*origin*/) {}

void SystemEvent::deviceNameChange(const QString &name, const QString &origin)
{
    tell(u"NameChange"_s, {name, origin});
}

void SystemEvent::hostnameInvalid(const QString &refused, const QString &current, const QString &origin)
{
    tell(u"NameRefused"_s, {refused, current, origin});
}

void SystemEvent::networkAddressChange(const QString &address, const QString &origin)
{
    tell(u"AddressChange"_s, {address, origin});
}

void SystemEvent::pwResetSuccessful(const QString &origin)
{
    tell(u"PasswordReset"_s, {origin});
}

void SystemEvent::pwResetVerifyFailed(const QString &origin)
{
    tell(u"PasswordResetRefused"_s, {u"signature"_s, origin});
}

void SystemEvent::pwResetFormatError(const QString &origin)
{
    tell(u"PasswordResetRefused"_s, {u"format"_s, origin});
}

void SystemEvent::pwResetFileError(const QString &origin)
{
    tell(u"PasswordResetRefused"_s, {u"file"_s, origin});
}

void SystemEvent::pwResetHostnameError(const QString &origin)
{
    tell(u"PasswordResetRefused"_s, {u"name"_s, origin});
}

void SystemEvent::pwResetMacError(const QString &origin)
{
    tell(u"PasswordResetRefused"_s, {u"network card"_s, origin});
}

} // namespace qmz
