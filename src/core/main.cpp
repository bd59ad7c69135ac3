#include "bootenv/BareboxConfig.h"
#include "can/CanInterface.h"
#include "core/Constants.h"
#include "core/CrashBacktrace.h"
#include "core/Version.h"
#include "firmware/FwUpdateSettings.h"
#include "firmware/Udevmonitor.h"
#include "logtime/LogConfig.h"
#include "logtime/NtpConfig.h"
#include "logtime/Systemtime.h"
#include "network/NetworkInterface.h"
#include "system/System.h"

#include <qmz/ConstParameter.h>
#include <qmz/FactoryManager.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/Qmzlog.h>
#include <qmz/SystemEvent.h>

#include <QCoreApplication>
#include <QDBusConnection>

#include <csignal>
#include <syslog.h>

using namespace Qt::StringLiterals;

namespace {

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

    QCoreApplication application(argc, argv);

    // The name comes first: a second instance ends here, before it has touched anything.
    const QString serviceName = qmz::NodekeepGlobals::SERVICE_PATH_NAME;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService(serviceName))
        qFatal("Registering dbus connection failed.");

    auto *const factory =
        new FactoryManager(qmz::ConstParameter::domainForIdx(qmz::ConstParameter::IDX_SYSTEM),
                           uR"(^\/system($|\/h.*|\/time.*|\/network.*|\/can.*|\/syslog.*))"_s, nullptr);
    factory->start();

    auto *const version = new Version(nullptr);
    bus.registerObject(u"/version"_s, version, QDBusConnection::ExportAllProperties);

    qmz::qmzlog.open(serviceName, LOG_LOCAL5, 0);
    qmz::qmzlog.setSyslogLevelWarning();

    // An object's name under its parent is its address on the bus, so order and names here are part of the interface.
    auto *const network = new NetworkInterface(nullptr);
    auto *const blockMonitor = new Udevmonitor("bdi", &application);
    auto *const updateManager = new FwUpdateSettings(u"ubifs_1_2"_s, &application);
    // The receivers are protected slots, so these connections go by name.
    QObject::connect(blockMonitor, SIGNAL(add(udev_device *)), updateManager, SLOT(addBlock(udev_device *)));
    QObject::connect(blockMonitor, SIGNAL(remove(udev_device *)), updateManager, SLOT(removeBlock(udev_device *)));
    auto *const system = new System(nullptr);
    network->setParent(system);
    auto *const time = new Systemtime(u"time"_s, system);
    CanInterface can(system);
    can.setObjectName(u"can"_s);
    new LogConfig(system);
    new Constants(system);
    auto *const variables = new BareboxConfig(system, u"/etc/"_s, qmz::NodekeepGlobals::VARIABLES);
    auto *const ntp = new NtpConfig(variables, time);

    // What this first look emits reaches nobody yet.
    network->checkConnman();
    network->setObjectName(u"network"_s);
    QObject::connect(network, SIGNAL(connmanStarted(bool)), ntp, SLOT(connmanStarted()));
    QObject::connect(network, &NetworkInterface::ipAddressChanged, updateManager, &FwUpdateSettings::setIp);
    QObject::connect(network, &NetworkInterface::gatewayChanged, updateManager, &FwUpdateSettings::setGateway);
    QObject::connect(network, &NetworkInterface::netmaskChanged, updateManager, &FwUpdateSettings::setNetmask);
    QObject::connect(network, &NetworkInterface::dhcpChanged, updateManager, &FwUpdateSettings::setDhcp);
    QObject::connect(network, &NetworkInterface::getSettings, updateManager, &FwUpdateSettings::loadEnv);

    qmz::SystemEvent testEvent;
    bus.registerObject(u"/testsystemevent"_s, &testEvent, QDBusConnection::ExportAllSlots);

    const int status = QCoreApplication::exec();

    can.setParent(nullptr); // this frame's, though it stands below the system object
    delete system;
    delete updateManager;
    delete version;
    return status != 0 ? 1 : 0;
}
