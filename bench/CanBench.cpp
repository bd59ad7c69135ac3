// The listener for errors of the CAN port, in a process of its own that says when it listens.

#include "can/CanErrorListener.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    qputenv("QT_NO_GLIB", "1"); // as the daemon does
    const QCoreApplication application(argc, argv);
    const CanErrorListener listener(nullptr);
    if (!listener.isListening())
        return 1;
    std::puts("listening");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
