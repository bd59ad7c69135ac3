#include "core/CrashBacktrace.h"
#include "core/FreedMemory.h"
#include "core/LostBus.h"
#include "core/ObjectTree.h"
#include "core/Version.h"

#include <qmz/ConstParameter.h>
#include <qmz/FactoryManager.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/Qmzlog.h>

#include <QCoreApplication>
#include <QDBusConnection>

#include <csignal>
#include <syslog.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Longer than the bus library waits for an answer of the bus.
constexpr unsigned nameLimitSec = 30;

// Qt reads it where a thread gets its event loop.
constexpr const char *noGlib = "QT_NO_GLIB";

/** Filled in, and never handed to sigaction(): every signal keeps the disposition that the daemon was started with. */
void prepareCrashAction()
{
    struct sigaction action
    {
    };
    action.sa_handler = crashBacktraceHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
}

} // namespace

int main(int argc, char **argv)
{
    prepareCrashAction();

    // GLib's event loop takes a tenth of the time of each call, and nothing here needs it.
    const bool glibByDefault = qEnvironmentVariableIsEmpty(noGlib) && qputenv(noGlib, "1");
    QCoreApplication application(argc, argv);

    // Without a thread of its own the bus library waits for good and says nothing. The signal ends such a process, and
    // the init system starts the next one.
    alarm(nameLimitSec);
    QDBusConnection bus = QDBusConnection::systemBus();
    alarm(nameLimitSec); // for the next answer
    // The name comes first: a second instance ends here, before it has touched anything.
    const QString serviceName = qmz::NodekeepGlobals::SERVICE_PATH_NAME;
    if (!bus.registerService(serviceName))
        qFatal("Registering dbus connection failed.");
    alarm(0);
    const LostBus watch;
    if (glibByDefault) // tools are started with the environment that we were given
        qunsetenv(noGlib);

    auto *const factory =
        new FactoryManager(qmz::ConstParameter::domainForIdx(qmz::ConstParameter::IDX_SYSTEM),
                           uR"(^\/system($|\/h.*|\/time.*|\/network.*|\/can.*|\/syslog.*))"_s, nullptr);
    factory->start();
    Version version;
    bus.registerObject(u"/version"_s, &version, QDBusConnection::ExportAllProperties);
    qmz::qmzlog.open(serviceName, LOG_LOCAL5, 0);
    qmz::qmzlog.setSyslogLevelWarning();

    const ObjectTree objects;
    const FreedMemory givenBack;
    return QCoreApplication::exec() != 0 ? 1 : 0;
}
