#include "support/Messages.h"

Messages *Messages::current = nullptr;

Messages::Messages()
{
    current = this;
    previous = qInstallMessageHandler(take);
}

Messages::~Messages()
{
    qInstallMessageHandler(previous);
    current = nullptr;
}

QStringList Messages::texts() const
{
    const std::scoped_lock lock(mutex);
    return taken;
}

void Messages::take(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
{
    const std::scoped_lock lock(current->mutex);
    current->taken.append(text);
}
