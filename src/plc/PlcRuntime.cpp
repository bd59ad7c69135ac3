#include "plc/PlcRuntime.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace {

/** The first value of the answer; invalid when there is none. */
QVariant query(const QString &method)
{
    const QString service = u"com.ozt.codesys"_s;
    const QDBusMessage call = QDBusMessage::createMethodCall(service, u"/"_s, service, method);
    const QDBusMessage reply = QDBusConnection::systemBus().call(call, QDBus::Block);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

bool isSimple(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<PlcState> askPlcRuntime()
{
    const QVariant applications = query(u"apps"_s);
    QVariant version = query(u"version"_s);
    if (version.typeId() == qMetaTypeId<QDBusVariant>())
        version = version.value<QDBusVariant>().variant();
    if (version.typeId() == QMetaType::UChar)
        version = version.toUInt(); // as text a byte would be a character

    if (applications.typeId() != QMetaType::QStringList || !isSimple(version))
        return std::nullopt;
    return PlcState{.applications = applications.toStringList(), .version = version};
}
