#include "support/BusClient.h"

#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusReply>
#include <QDBusVariant>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

const QString connectionName = u"test client"_s;
const QString propertiesInterface = u"org.freedesktop.DBus.Properties"_s;
const QString introspectableInterface = u"org.freedesktop.DBus.Introspectable"_s;

/** Reads a method or signal up to its end. */
QString readMember(QXmlStreamReader &xml)
{
    const QString kind = xml.name().toString();
    const QString name = xml.attributes().value("name"_L1).toString();
    QString in;
    QString out;
    while (!(xml.readNext() == QXmlStreamReader::EndElement && xml.name() == kind) && !xml.atEnd()) {
        if (!xml.isStartElement() || xml.name() != "arg"_L1)
            continue;
        const bool result = xml.attributes().value("direction"_L1) == "out"_L1 && kind == "method"_L1;
        (result ? out : in) += xml.attributes().value("type"_L1);
    }
    return kind + u' ' + name + u'(' + in + u')' + (out.isEmpty() ? QString() : u" -> "_s + out);
}

QString readProperty(const QXmlStreamReader &xml)
{
    const auto attributes = xml.attributes();
    return QStringList{u"property"_s, attributes.value("name"_L1).toString(), attributes.value("type"_L1).toString(),
                       attributes.value("access"_L1).toString()}
        .join(u' ');
}

} // namespace

void letBusCatchUp(const QDBusConnection &connection)
{
    EXPECT_TRUE(connection.interface()->isServiceRegistered(u"org.freedesktop.DBus"_s));
}

void putOnBus(const QString &path, QObject *object)
{
    EXPECT_TRUE(QDBusConnection::systemBus().registerObject(
        path, object,
        QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties | QDBusConnection::ExportChildObjects));
}

BusClient::BusClient() : connection(QDBusConnection::connectToBus(QDBusConnection::SystemBus, connectionName))
{
    EXPECT_TRUE(connection.isConnected()) << qPrintable(connection.lastError().message());
}

BusClient::~BusClient()
{
    QDBusConnection::disconnectFromBus(connectionName);
}

QDBusMessage BusClient::call(const QString &path, const QString &interface, const QString &method,
                             const QVariantList &arguments)
{
    const QString ownService = QDBusConnection::systemBus().baseService();
    QDBusMessage message = QDBusMessage::createMethodCall(ownService, path, interface, method);
    message.setArguments(arguments);

    const QDBusPendingCall answer = connection.asyncCall(message, -1);
    EXPECT_TRUE(waitUntil([&] { return answer.isFinished(); })) << qPrintable(path + u": no answer"_s);
    return answer.reply();
}

QVariant BusClient::value(const QString &path, const QString &interface, const QString &method,
                          const QVariantList &arguments)
{
    return call(path, interface, method, arguments).arguments().value(0);
}

QVariant BusClient::getProperty(const QString &path, const QString &interface, const QString &name)
{
    return value(path, propertiesInterface, u"Get"_s, {interface, name}).value<QDBusVariant>().variant();
}

QDBusMessage BusClient::setProperty(const QString &path, const QString &interface, const QString &name,
                                    const QVariant &value)
{
    return call(path, propertiesInterface, u"Set"_s, {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

QStringList BusClient::members(const QString &path, const QString &interface)
{
    QXmlStreamReader xml(value(path, introspectableInterface, u"Introspect"_s).toString());
    QStringList found;
    bool inside = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.name() == "interface"_L1)
            inside = xml.isStartElement() && xml.attributes().value("name"_L1) == interface;
        else if (inside && xml.isStartElement() && xml.name() == "property"_L1)
            found.append(readProperty(xml));
        else if (inside && xml.isStartElement() && (xml.name() == "method"_L1 || xml.name() == "signal"_L1))
            found.append(readMember(xml));
    }
    return found;
}

QStringList BusClient::children(const QString &path)
{
    QXmlStreamReader xml(value(path, introspectableInterface, u"Introspect"_s).toString());
    QStringList found;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == "node"_L1 && xml.attributes().hasAttribute("name"_L1))
            found.append(xml.attributes().value("name"_L1).toString());
    }
    found.sort();
    return found;
}
