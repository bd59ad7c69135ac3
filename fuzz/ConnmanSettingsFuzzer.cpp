// Reads connman's settings from an answer that comes over a bus, with values of every type where others are expected.
//
// A line of the input is a property, such as "Nameservers:S 10.0.0.1" or "IPv4/Address:s 10.0.0.1": its name, or that
// of a map and a name in it, the letters of its type, and a text.

#include "FuzzTarget.h"

#include "network/ConnmanSettings.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServer>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxLines = 50;
constexpr qsizetype maxNesting = 15; // a map counts thrice of the 64 that the bus takes

/** A value of the type that the letters tell, the outer ones first. */
QVariant valueOf(QByteArrayView type, const QByteArray &text)
{
    const QByteArrayView inner = type.isEmpty() ? type : type.sliced(1);
    switch (type.isEmpty() ? 's' : type.front()) {
    case 'v':
        return QVariant::fromValue(QDBusVariant(valueOf(inner, text)));
    case 'a':
        return QVariantList{valueOf(inner, text)};
    case 'm':
        return QVariantMap{{u"Address"_s, valueOf(inner, text)}};
    case 'i':
        return text.toInt();
    case 'y':
        return QVariant::fromValue(static_cast<uchar>(text.toUInt()));
    case 'x':
        return text.toLongLong();
    case 'd':
        return text.toDouble();
    case 'b':
        return text == "true";
    case 'o':
        return QVariant::fromValue(QDBusObjectPath(u"/a"_s));
    case 'g':
        return QVariant::fromValue(QDBusSignature(u"a{sv}"_s));
    case 'B':
        return text;
    case 'S':
        return QString::fromUtf8(text).split(u' ');
    default:
        return QString::fromUtf8(text);
    }
}

void addProperty(QVariantMap &properties, const QByteArray &line)
{
    const qsizetype blank = line.indexOf(' ');
    const QByteArray text = blank < 0 ? QByteArray() : line.sliced(blank + 1);
    const QList<QByteArray> words = line.first(blank < 0 ? line.size() : blank).split(':');
    const QList<QByteArray> names = words.first().split('/');
    const QVariant value = valueOf(words.value(1).first(qMin(words.value(1).size(), maxNesting)), text);
    QVariant &property = properties[QString::fromUtf8(names.first())];
    if (names.size() == 1) {
        property = value;
    } else {
        QVariantMap map = property.toMap();
        map[QString::fromUtf8(names[1])] = value;
        property = map;
    }
}

QVariantMap propertiesOf(QByteArrayView input)
{
    QVariantMap properties;
    const QList<QByteArray> lines = input.toByteArray().split('\n');
    for (const QByteArray &line : lines.first(qMin(lines.size(), maxLines)))
        addProperty(properties, line);
    return properties;
}

/** A service that answers every call with one value, and a client of it: two ends of a bus of their own. */
class Peers : public QDBusVirtualObject
{
public:
    Peers()
    {
        QObject::connect(&server, &QDBusServer::newConnection, this, [this](QDBusConnection connection) {
            require(connection.registerVirtualObject(u"/"_s, this));
            serving = connection;
        });
        client = QDBusConnection::connectToPeer(server.address(), u"client"_s);
        while (!serving)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    QDBusMessage answerWith(const QVariant &value)
    {
        answer = value;
        const auto call = QDBusMessage::createMethodCall({}, u"/"_s, u"fuzz.Service"_s, u"Ask"_s);
        return client->call(call, QDBus::BlockWithGui);
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        return connection.send(message.createReply(answer));
    }

private:
    QDBusServer server;
    std::optional<QDBusConnection> serving;
    std::optional<QDBusConnection> client;
    QVariant answer;
};

/** Whether there is nothing that connman does not tell in so many words. */
bool isTold(const std::optional<QHostAddress> &address, QByteArrayView input)
{
    return !address || address->isNull() || input.contains(':') || input.contains('.');
}

} // namespace

void checkInput(QByteArrayView input)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    static Peers peers;

    const QDBusReply<QVariantMap> reply = peers.answerWith(propertiesOf(input));
    require(reply.isValid());

    const ConnmanSettings settings = connmanSettingsIn(reply.value());
    require(settings.address || !(settings.netmask || settings.dhcp));
    require(isTold(settings.address, input) && isTold(settings.netmask, input));
    require(!settings.nameserver || input.contains("Nameservers")); // the bus ends a name at a null byte
}
