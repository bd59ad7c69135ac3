#include "core/ObjectTree.h"

#include "bootenv/BareboxConfig.h"
#include "can/CanInterface.h"
#include "core/Constants.h"
#include "firmware/FwUpdateSettings.h"
#include "firmware/Udevmonitor.h"
#include "logtime/LogConfig.h"
#include "logtime/NtpConfig.h"
#include "logtime/Systemtime.h"
#include "network/NetworkInterface.h"
#include "system/System.h"

#include <qmz/NodekeepGlobals.h>

#include <QDBusConnection>

using namespace Qt::StringLiterals;

namespace {

// Each file system announces itself to the kernel as a "backing device", the data partition's under this name.
constexpr const char *partitionSubsystem = "bdi";
const QString partitionDevice = u"ubifs_1_2"_s;

void connectPort(const NetworkInterface *network, const NtpConfig *ntp, const FwUpdateSettings *updateManager)
{
    QObject::connect(network, SIGNAL(connmanStarted(bool)), ntp, SLOT(connmanStarted())); // protected
    QObject::connect(network, &NetworkInterface::ipAddressChanged, updateManager, &FwUpdateSettings::setIp);
    QObject::connect(network, &NetworkInterface::gatewayChanged, updateManager, &FwUpdateSettings::setGateway);
    QObject::connect(network, &NetworkInterface::netmaskChanged, updateManager, &FwUpdateSettings::setNetmask);
    QObject::connect(network, &NetworkInterface::dhcpChanged, updateManager, &FwUpdateSettings::setDhcp);
    QObject::connect(network, &NetworkInterface::getSettings, updateManager, &FwUpdateSettings::loadEnv);
}

} // namespace

// An object's name under its parent is its address on the bus, so order and names here are part of the interface.
ObjectTree::ObjectTree()
{
    auto *const network = new NetworkInterface(nullptr);
    blockMonitor = std::make_unique<Udevmonitor>(partitionSubsystem, nullptr);
    updateManager = std::make_unique<FwUpdateSettings>(partitionDevice, nullptr);
    // The receivers are protected slots, so these connections go by name.
    QObject::connect(blockMonitor.get(), SIGNAL(add(udev_device *)), updateManager.get(),
                     SLOT(addBlock(udev_device *)));
    QObject::connect(blockMonitor.get(), SIGNAL(remove(udev_device *)), updateManager.get(),
                     SLOT(removeBlock(udev_device *)));

    system = std::make_unique<System>(nullptr);
    network->setParent(system.get());
    auto *const time = new Systemtime(u"time"_s, system.get());
    auto *const can = new CanInterface(system.get());
    can->setObjectName(u"can"_s);
    new LogConfig(system.get());
    new Constants(system.get());
    auto *const variables = new BareboxConfig(system.get(), u"/etc/"_s, qmz::NodekeepGlobals::VARIABLES);
    auto *const ntp = new NtpConfig(variables, time);

    // What this first look emits reaches nobody yet.
    network->checkConnman();
    network->setObjectName(u"network"_s);
    connectPort(network, ntp, updateManager.get());

    testEvent.emplace();
    QDBusConnection::systemBus().registerObject(u"/testsystemevent"_s, &*testEvent, QDBusConnection::ExportAllSlots);
}

ObjectTree::~ObjectTree() = default;
