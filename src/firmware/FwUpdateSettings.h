#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QThread>

class BareboxConfig;
class NandUpdate;
class QDir;
struct FirmwareControl;
struct udev_device;

/** The owner of the boot environment and of the firmware on the data partition, on the bus at
 *  qmz::NodekeepGlobals::LOADER_PATH.
 *
 *  **Boot environment.** The boot loader keeps its environment in a flash partition. While the daemon runs, it lies
 *  unpacked in `envPath`, a small variable file each, and every file is a BareboxConfig child of this object, reachable
 *  on the bus under its file name. Variables are changed in memory; `saveEnv` alone brings them to the flash.
 *
 *  One of the stores is the current one, on which `getEnv` and `setEnv` act. There is one current store for all
 *  clients, and many calls select another: a client that must be sure selects it right before each access, or calls the
 *  store's own object.
 *
 *  **Firmware.** A package arrives by the web server's signal or by download, is unpacked, tested and kept as a
 *  numbered directory below qmz::NodekeepGlobals::UPDATE_PATH, with a NandUpdate child of this object as its record.
 *  Starting a record names it in the boot environment and reboots; the boot stage then writes it to flash. Each stage
 *  is told by the event firmwareUpdate and by the LEDs, failures by these alone.
 *
 *  **Settings.** An update replaces the root file system. Before its reboot the device's identity and settings are
 *  copied to the data partition; the next start that finds the partition mounted copies them back, once.
 *
 *  **First start.** After a flash or a factory initialisation a marker is found at start. The device then reboots once
 *  more: when the data partition is mounted and the system configuration manager has started, in either order.
 *
 *  Calls that run tools block the whole service while the tools run, up to 30 seconds each where nothing else is said,
 *  and tell nobody how it went. */
class FwUpdateSettings : public QObject
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
     *
     *  @param watchedDevice name of the data partition's device in the kernel's "bdi" subsystem */
    FwUpdateSettings(const QString &watchedDevice, QObject *parent);
    ~FwUpdateSettings() override;

    FwUpdateSettings(const FwUpdateSettings &) = delete;
    FwUpdateSettings &operator=(const FwUpdateSettings &) = delete;

    /** Makes the record of a firmware and lists it.
     *  @param path the firmware's directory, with or without the directories above it */
    NandUpdate *addNandUpdate(const QString &path, const QString &version, const QString &releasename,
                              const QString &svnversion, const QString &minUpdaterVer, const QString &date);

    /** The variable "eth0.ethaddr" of the store "config", which becomes the current one. */
    QString ethernetAddress();

Q_SIGNALS:
    /** The data partition is to be scanned. */
    void scan();

public Q_SLOTS:
    /** Selects a store.
     *  @param name file name of the store; an unknown one leaves no store selected
     *  @return whether there is such a store */
    bool lookupConfig(const QString &name);
    /** Selects a store, and makes it first when there is none of that name. A new store reads its file in `envPath`
     *  if there is one; its own file comes into being with the next `saveEnv`. */
    void addConfig(const QString &path);
    /** Removes a store and its file, and selects "config". The flash keeps the file until the next save.
     *  @return false for "config", which can't be removed, for an unknown store, and when the file can't be removed;
     *          in the last case the selection has changed all the same */
    bool delConfig(const QString &path);

    /** A variable of the current store without outer white space and one pair of double quotes; empty when there is no
     *  such variable, or no current store. */
    QString getEnv(const QString &name) const;
    /** Changes a variable of the current store, in memory. Without a current store nothing changes. */
    void setEnv(const QString &name, const QString &value);

    // Each selects the store "config" and changes a variable there, in memory.
    void setIp(const QString &ip);
    void setGateway(const QString &gateway);
    void setNetmask(const QString &netmask);
    void setDhcp(bool dhcp);

    /** Unpacks the flash into `envPath`, whose old content is discarded, and makes a store for each file that has none
     *  yet. A store that exists keeps its variables, whatever the flash holds; the current store is then any of
     *  them. */
    void loadEnv();
    /** Writes every store to its file and packs `envPath` into the flash. */
    void saveEnv();
    /** Packs `envPath` into the flash as it stands, without writing the stores to their files. The flash is erased
     *  first: a power cut between the two leaves it empty. */
    void saveEnvNoRestore();

    /** Reboots if this start's settings are in place, else as soon as they are. */
    void armReboot();
    /** Reboots the device. */
    void reboot();

    bool getUpdateFailed() const { return updateFailed; }
    bool getFactoryInit() const { return factoryInit; }
    bool getFwUpdated() const { return fwUpdated; }

    /** Packs the PLC runtime's applications and files into a gzipped tar archive below /tmp, which belongs to the
     *  caller. The runtime has to be on the bus and keeps running; a file that it names and that is missing makes the
     *  backup fail.
     *  @return path of the archive; null on failure. After 30 seconds tar is ended and the archive is returned as it is
     *          then. */
    QString createCodesysTarball();
    /** Stops the PLC runtime, replaces its applications by those of a backup and starts it anew.
     *
     *  The old applications, each with the event codesysFileRemoved, and the archive are removed in any case. On an
     *  archive that can't be unpacked the runtime stays stopped.
     *  @param file path of a backup on the device
     *  @return whether the archive was unpacked and the runtime's configuration was opened */
    bool restoreCodesysFromTarball(const QString &file);
    /** Stops and starts the PLC runtime, without waiting for either. */
    void restartCodesys();

    /** Deletes every firmware but the one that was numbered last; all of them when that one is gone or incomplete.
     *  @return true */
    bool cleanupFirmwareUpdates();
    /** Has the boot stage install a firmware, by its directory's name: saves the boot environment and the settings
     *  and reboots. Nothing happens for a name that is no directory. */
    void startUpdateNand(const QString &fwversion);
    /** Downloads a package, and takes it in when it has come. An invalid address is not reported. */
    void startUpdateHttp(const QString &url);
    /** The same from the maker's build server. */
    void startUpdateHttp();
    /** The records as a JSON array, in list order. Not escaped: see NandUpdate::jsonObject. */
    QString jsonFwUpdates() const;

protected Q_SLOTS:
    void fileUploaded(const QString &fname, const QString &rname);
    void httpDownloadFinished(int retval);
    void tarFinished(int status);
    void removeNandUpdate();
    void addBlock(udev_device *dev);
    void removeBlock(udev_device *dev);
    void setFreeNr(int freeNr);

protected:
    void timerEvent(QTimerEvent *event) override;
    void childEvent(QChildEvent *event) override;

private:
    BareboxConfig *findConfig(const QString &name) const;
    void setMainVariable(const QString &name, const QString &value);
    QString mainVariable(const QString &name);
    QString minFwVersion();
    void fetchBootEnv();

    void checkStartMarkers();
    static bool srvMounted();
    void finishSrvStart();
    void startScan();
    void clearNandUpdates();
    void forgetNandUpdate(const QObject *record);

    void startTool(const QString &program, const QStringList &arguments, void (FwUpdateSettings::*finished)(int));
    void unpackFirmware(const QString &fname);
    void takeFirmware(QDir firmware);
    bool isAcceptable(const QDir &firmware, const FirmwareControl &control);
    bool checkMd5(const QDir &dir, const QString &name);
    static void signalFirmwareFailure();

    static bool copyFile(const QString &source, const QString &destination);
    void saveToNodekeep();
    bool restoreFromNodekeep();
    void linkPublicFiles();
    static void applyInterfacesToConnman();

    static bool saveCodesysState();
    static bool patchCodesysConfig();
    static QStringList codesysFileMapList();

    bool factoryInit = false;
    BareboxConfig *currentConfig = nullptr; // not owned; null until a store is selected, and after a failed look-up
    const QString envPath;
    const QString envDevice;
    bool onlyUploadFirmware = false;
    int freeNr = 0;
    QList<NandUpdate *> nandUpdates; // children of this object
    QString uploadedFile;            // the package being unpacked
    const QString watchedBlock;
    bool fwUpdated = false;
    bool updateFailed = false;
    bool rebootArmed = false;
    QThread scanThread;
};
