#include "network/ConnmanReply.h"

#include <QDBusArgument>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

QString ethernetServicePath(const QString &introspection)
{
    QString path;
    QXmlStreamReader xml(introspection);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() != "node"_L1)
            continue;
        const QStringView name = xml.attributes().value("name"_L1);
        if (name.startsWith("ethernet"_L1))
            path = u"/net/connman/service/"_s + name.toString();
    }
    return path;
}

QString toStringOrNull(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QString>() ? value.toString() : QString();
}

QVariantMap toMap(const QVariant &value)
{
    QVariantMap map;
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return map;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() == "a{sv}"_L1)
        argument >> map;
    return map;
}
