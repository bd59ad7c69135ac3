#include "firmware/Udevmonitor.h"

#include <QByteArrayView>
#include <QSocketNotifier>

#include <libudev.h>

namespace {
constexpr int receiveBufferBytes = 128 * 1024 * 1024;
}

Udevmonitor::Udevmonitor(const char *subsystem, QObject *parent) : QObject(parent), udev(udev_new())
{
    if (!udev)
        qFatal("udev allocation failed!");
    monitor = udev_monitor_new_from_netlink(udev, "udev");
    if (!monitor)
        qFatal("udevmonitor failed to initialize!");
    if (udev_monitor_filter_add_match_subsystem_devtype(monitor, subsystem, nullptr) != 0)
        qFatal("block udev match failed");
    if (udev_monitor_enable_receiving(monitor) != 0)
        qFatal("udev monitor receive enable failed.");
    // A burst of messages must fit; where the limit can't be raised, the kernel's own has to do.
    udev_monitor_set_receive_buffer_size(monitor, receiveBufferBytes);

    notifier = new QSocketNotifier(udev_monitor_get_fd(monitor), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &Udevmonitor::events);
}

Udevmonitor::~Udevmonitor()
{
    delete notifier;
    udev_unref(udev);
}

void Udevmonitor::events(int /*fd*/)
{
    udev_device *const device = udev_monitor_receive_device(monitor);
    if (device) {
        const QByteArrayView action(udev_device_get_action(device));
        if (action.startsWith("add"))
            Q_EMIT add(device);
        else if (action.startsWith("remove"))
            Q_EMIT remove(device);
    }
    udev_device_unref(device);
}
