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

    static Messages *current;
    QtMessageHandler previous;
    mutable std::mutex mutex; // messages may come from any thread
    QStringList taken;
};
