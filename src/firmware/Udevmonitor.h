#pragma once

#include <QObject>

class QSocketNotifier;
struct udev;
struct udev_device;
struct udev_monitor;

/** Listens to the device manager's messages about one subsystem of the kernel.
 *
 *  Devices that exist already are not told. Setting it up ends the process when udev refuses. */
class Udevmonitor : public QObject
{
    Q_OBJECT

public:
    /** @param subsystem name of the kernel's subsystem, such as "bdi" */
    Udevmonitor(const char *subsystem, QObject *parent);
    ~Udevmonitor() override;

    Udevmonitor(const Udevmonitor &) = delete;
    Udevmonitor &operator=(const Udevmonitor &) = delete;

Q_SIGNALS:
    /** A device has come. The pointer is valid during the call only. */
    void add(udev_device *dev);
    /** A device has gone. The pointer is valid during the call only. */
    void remove(udev_device *dev);

public Q_SLOTS:
    /** Takes one message from the monitor. */
    void events(int fd);

private:
    struct udev *udev; // owned
    udev_monitor *monitor = nullptr;
    QSocketNotifier *notifier = nullptr;
};
