#pragma once

#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"
#include "firmware/FirmwareIntake.h"
#include "firmware/FirmwareRecords.h"

#include <QObject>
#include <QString>
#include <QThread>

struct udev_device;

/** The owner of the boot environment and of the firmware on the data partition, on the bus at
 *  qmz::NodekeepGlobals::LOADER_PATH.
 *
 *  **Boot environment.** Its stores are children of this object, reachable on the bus under their file names. One of
 *  them is the current one, on which `getEnv` and `setEnv` act. There is one current store for all clients, and many
 *  calls select another: a client that must be sure selects it right before each access, or calls the store's own
 *  object.
 *
 *  **Firmware.** A package arrives by the web server's signal or by download, is unpacked, tested and kept as a
 *  numbered directory below qmz::NodekeepGlobals::UPDATE_PATH, with a NandUpdate child of this object as its record.
 *  Starting a record names it in the boot environment and reboots; the boot stage then writes it to flash.
 *
 *  **Settings.** An update replaces the root file system. Before its reboot the device's identity and settings are
 *  copied to the data partition; the next start that finds the partition mounted copies them back, once.
 *
 *  **First start.** After a flash or a factory initialisation a marker is found at start. The device then reboots once
 *  more: when the data partition is mounted and the system configuration manager has started, in either order.
 *
 *  Calls that run tools block the whole service while the tools run, up to 30 seconds each where nothing else is said,
 *  and tell nobody how it went. */
class FwUpdateSettings : public QObject, public BootEnvironmentOwner
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.FwUpdateSettings")
    /** An update's saved settings were found on this start. It does not tell whether the flash went wrong. */
    Q_PROPERTY(bool updateFailed READ getUpdateFailed)
    /** Keep a package that arrives and don't start it. False at every start of the daemon. */
    Q_PROPERTY(bool onlyUploadFirmware MEMBER onlyUploadFirmware)
    /** This start is the first after a flash or a factory initialisation. */
    Q_PROPERTY(bool factoryInit READ getFactoryInit)
    /** Settings were restored on this start, or it is a first start and the data partition is ready. */
    Q_PROPERTY(bool fwUpdated READ getFwUpdated)

public:
    /** Registers the object on the bus, fetches the boot environment, selects the store "config" and looks for the
     *  markers of a first start. With the data partition mounted, scans it for firmware. Ends the process when the
     *  bus refuses the signals that it needs.
     *  @param watchedDevice name of the data partition's device in the kernel's "bdi" subsystem */
    FwUpdateSettings(const QString &watchedDevice, QObject *parent);
    ~FwUpdateSettings() override;
    Q_DISABLE_COPY_MOVE(FwUpdateSettings)

    BootEnvironment *bootEnvironment() override { return &environment; }

Q_SIGNALS:
    /** The data partition is to be scanned. */
    void scan();

public Q_SLOTS:
    // The boot environment; see BootEnvironment.
    bool lookupConfig(const QString &name) { return environment.lookupConfig(name); }
    void addConfig(const QString &path) { environment.addConfig(path); }
    bool delConfig(const QString &path) { return environment.delConfig(path); }
    QString getEnv(const QString &name) const { return environment.getEnv(name); }
    void setEnv(const QString &name, const QString &value) { environment.setEnv(name, value); }
    void setIp(const QString &ip) { environment.setIp(ip); }
    void setGateway(const QString &gateway) { environment.setGateway(gateway); }
    void setNetmask(const QString &netmask) { environment.setNetmask(netmask); }
    void setDhcp(bool dhcp) { environment.setDhcp(dhcp); }
    void loadEnv() { environment.loadEnv(); }
    void saveEnv() { environment.saveEnv(); }
    void saveEnvNoRestore() { environment.saveEnvNoRestore(); }

    /** Reboots if this start's settings are in place, else as soon as they are. */
    void armReboot();
    /** Reboots the device; see rebootDevice(). */
    void reboot();

    bool getUpdateFailed() const { return updateFailed; }
    bool getFactoryInit() const { return factoryInit; }
    bool getFwUpdated() const { return fwUpdated; }

    // The PLC runtime's applications; see PlcBackup and PlcReset.
    QString createCodesysTarball();
    bool restoreCodesysFromTarball(const QString &file);
    void restartCodesys();

    /** Deletes every firmware but the one that was numbered last; all of them when that one is gone or incomplete.
     *  @return true */
    bool cleanupFirmwareUpdates();
    /** Has the boot stage install a firmware, by its directory's name: saves the boot environment and the settings
     *  and reboots. Nothing happens for a name that is no directory. */
    void startUpdateNand(const QString &fwversion);
    /** Downloads a package, and takes it in when it has come. An invalid address is not reported. */
    void startUpdateHttp(const QString &url) { intake.startUpdateHttp(url); }
    /** The same from the maker's build server. */
    void startUpdateHttp();
    /** The records as a JSON array, in list order. Not escaped: see NandUpdate::jsonObject. */
    QString jsonFwUpdates() const { return records.jsonFwUpdates(); }

protected Q_SLOTS:
    /** The web server has taken an upload: a package, a backup of the PLC runtime, or nothing of ours. */
    void fileUploaded(const QString &fname, const QString &rname);
    // For who reaches these three by name; the parts hear of it themselves.
    void httpDownloadFinished(int retval) { intake.httpDownloadFinished(retval); }
    void tarFinished(int status) { intake.tarFinished(status); }
    void removeNandUpdate() { records.forgetNandUpdate(sender()); }
    void addBlock(udev_device *dev);
    void removeBlock(udev_device *dev);
    void setFreeNr(int freeNr) { records.setFreeNr(freeNr); }

protected:
    void timerEvent(QTimerEvent *event) override;
    void childEvent(QChildEvent *event) override;

private:
    void checkStartMarkers();
    static bool srvMounted();
    void finishSrvStart();
    void startScan();
    void startAccepted(NandUpdate *record);

    bool factoryInit = false;
    bool onlyUploadFirmware = false;
    bool fwUpdated = false;
    bool updateFailed = false;
    bool rebootArmed = false;
    const QString watchedBlock;
    BootEnvironment environment{this};
    FirmwareRecords records{this};
    FirmwareIntake intake{environment, records};
    QThread scanThread;
};
