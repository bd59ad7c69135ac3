#pragma once

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QProcess>
#include <QTest>

/** @file
 *  connman and Avahi, as python-dbusmock templates in processes of their own. */

inline const QString servicePath = QStringLiteral("/net/connman/service/ethernet_001122334455_cable");

/** A python-dbusmock template at work. */
class Mock
{
public:
    Mock(const QString &file, const QString &path, const QString &interface, const QString &method)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral("/usr/bin/python3"),
                      {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--system"),
                       QStringLiteral("--template"), QStringLiteral(MOCKS) + u'/' + file});
        const bool answers = QTest::qWaitFor(
            [&] {
                return QDBusConnection::systemBus()
                           .call(QDBusMessage::createMethodCall(name(file), path, interface, method))
                           .type() == QDBusMessage::ReplyMessage;
            },
            20000);
        EXPECT_TRUE(answers) << qPrintable(file);
    }

    ~Mock()
    {
        process.kill();
        process.waitForFinished();
    }

    Q_DISABLE_COPY_MOVE(Mock)

private:
    static QString name(const QString &file)
    {
        return file.startsWith(u"connman") ? QStringLiteral("net.connman") : QStringLiteral("org.freedesktop.Avahi");
    }

    QProcess process;
};

struct Connman : Mock
{
    Connman()
        : Mock(QStringLiteral("connman.py"), servicePath, QStringLiteral("net.connman.Service"),
               QStringLiteral("GetProperties"))
    {
    }

    /** What SetProperty was called with: the property's name and its value. */
    static QList<QVariantList> propertiesSet()
    {
        const QDBusReply<QVariantMap> reply = QDBusConnection::systemBus().call(
            QDBusMessage::createMethodCall(QStringLiteral("net.connman"), servicePath,
                                           QStringLiteral("net.connman.Service"), QStringLiteral("GetProperties")));
        QList<QVariantList> set;
        for (const QString &name : {QStringLiteral("IPv6.Configuration"), QStringLiteral("IPv4.Configuration")})
            set << QVariantList{name, qdbus_cast<QVariantMap>(reply.value().value(name))};
        return set;
    }
};

struct Avahi : Mock
{
    Avahi()
        : Mock(QStringLiteral("avahi.py"), QStringLiteral("/"), QStringLiteral("org.freedesktop.Avahi.Server"),
               QStringLiteral("GetHostName"))
    {
    }
};
