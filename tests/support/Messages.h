#pragma once

#include <QStringList>

#include <mutex>

/** Takes what the program logs with qDebug() to qCritical() for as long as it lives, in place of the output. One at a
 *  time. */
class Messages
{
public:
    Messages();
    ~Messages();
    Q_DISABLE_COPY_MOVE(Messages)

    /** Every text so far, in order, without its level. */
    QStringList texts() const;

private:
    static void take(QtMsgType type, const QMessageLogContext &context, const QString &text);

    // Messages may come from any thread, and at any time: one that is on its way when the object goes is lost.
    static std::mutex mutex;
    static Messages *current;
    QtMessageHandler previous;
    QStringList taken;
};
