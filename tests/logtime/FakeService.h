#pragma once

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QThread>

#include <functional>
#include <mutex>

/** Another program on the system bus that takes every call below a path and remembers it. It has a connection and a
 *  thread of its own, so that it answers a caller who blocks. */
class FakeService : public QDBusVirtualObject
{
public:
    /** Makes the answer to a call, which may be an error; an invalid message is none at all. Runs in the thread. */
    using Answer = std::function<QDBusMessage(const QDBusMessage &call)>;

    FakeService(
        const QString &name, const QString &objectPath,
        Answer answerTo = [](const QDBusMessage &call) { return call.createReply(); })
        : serviceName(name), path(objectPath), answer(std::move(answerTo))
    {
        auto connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, serviceName);
        EXPECT_TRUE(connection.registerVirtualObject(path, this, QDBusConnection::SubPath));
        moveToThread(&thread);
        // ThreadSanitizer does not see how Qt waits for a thread.
        connect(
            &thread, &QThread::finished, this, [this] { const std::lock_guard lock(mutex); }, Qt::DirectConnection);
        thread.start();
        EXPECT_TRUE(connection.registerService(serviceName));
    }

    ~FakeService() override
    {
        QDBusConnection connection(serviceName);
        connection.unregisterService(serviceName);
        connection.unregisterObject(path, QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(serviceName);
        thread.quit();
        thread.wait();
        const std::lock_guard lock(mutex);
    }
    Q_DISABLE_COPY_MOVE(FakeService)

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        {
            const std::lock_guard lock(mutex);
            received.append(message);
        }
        if (const QDBusMessage reply = answer(message); reply.type() != QDBusMessage::InvalidMessage)
            connection.send(reply);
        return true;
    }

    QList<QDBusMessage> calls() const
    {
        const std::lock_guard lock(mutex);
        return received;
    }

private:
    QString serviceName;
    QString path;
    Answer answer;
    QThread thread;
    mutable std::mutex mutex;
    QList<QDBusMessage> received;
};
