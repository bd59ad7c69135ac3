#pragma once

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <mutex>

/** The PLC runtime on the bus for as long as it lives, on a connection and a thread of its own: a caller that blocks
 *  does not stop it. It answers what it is told to, of whatever type. */
class FakePlcRuntime : public QDBusVirtualObject
{
public:
    explicit FakePlcRuntime(const QStringList &applications = {}, const QVariant &version = 35)
    {
        answer(QStringLiteral("apps"), {applications});
        answer(QStringLiteral("version"), {version});
        auto connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
        EXPECT_TRUE(connection.registerVirtualObject(QStringLiteral("/"), this));
        moveToThread(&thread);
        thread.start();
        EXPECT_TRUE(connection.registerService(service));
    }

    ~FakePlcRuntime() override
    {
        QDBusConnection(name).unregisterService(service);
        QDBusConnection(name).unregisterObject(QStringLiteral("/"));
        QDBusConnection::disconnectFromBus(name);
        thread.quit();
        thread.wait();
    }
    Q_DISABLE_COPY_MOVE(FakePlcRuntime)

    /** From now on a method answers with these values. */
    void answer(const QString &method, const QVariantList &values)
    {
        const std::lock_guard lock(mutex);
        answers[method] = values;
    }
    /** From now on a method answers with an error. */
    void fail(const QString &method)
    {
        const std::lock_guard lock(mutex);
        answers.remove(method);
    }

    /** The calls so far, each as in "com.ozt.codesys.apps()". */
    QStringList calls() const
    {
        const std::lock_guard lock(mutex);
        return received;
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const std::lock_guard lock(mutex);
        received.append(message.interface() + u'.' + message.member() + u'(' + message.signature() + u')');
        const auto found = answers.constFind(message.member());
        return connection.send(found != answers.constEnd()
                                   ? message.createReply(*found)
                                   : message.createErrorReply(QDBusError::Failed, QStringLiteral("told to")));
    }

private:
    const QString name = QStringLiteral("plc runtime");
    const QString service = QStringLiteral("com.ozt.codesys");
    QThread thread;
    mutable std::mutex mutex;
    QHash<QString, QVariantList> answers;
    QStringList received;
};
