#include "support/Messages.h"

std::mutex Messages::mutex;
Messages *Messages::current = nullptr;

Messages::Messages()
{
    const std::scoped_lock lock(mutex);
    current = this;
    previous = qInstallMessageHandler(take);
}

Messages::~Messages()
{
    qInstallMessageHandler(previous);
    const std::scoped_lock lock(mutex);
    current = nullptr;
}

QStringList Messages::texts() const
{
    const std::scoped_lock lock(mutex);
    return taken;
}

void Messages::take(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
{
    const std::scoped_lock lock(mutex);
    if (current)
        current->taken.append(text);
}
