#pragma once

#include <QObject>
#include <QString>

class BareboxConfig;

/** The owner of the boot environment, on the bus at qmz::NodekeepGlobals::LOADER_PATH.
 *
 *  The boot loader keeps its environment in a flash partition. While the daemon runs, it lies unpacked in `envPath`,
 *  a small variable file each, and every file is a BareboxConfig child of this object, reachable on the bus under its
 *  file name. Variables are changed in memory; `saveEnv` alone brings them to the flash.
 *
 *  One of the stores is the current one, on which `getEnv` and `setEnv` act. There is one current store for all
 *  clients, and many calls select another: a client that must be sure selects it right before each access, or calls the
 *  store's own object.
 *
 *  Calls that run tools block the whole service while the tools run, up to 30 seconds each, and tell nobody how it
 *  went. */
class FwUpdateSettings : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.FwUpdateSettings")

public:
    /** Registers the object on the bus, fetches the boot environment and selects the store "config".
     *
     *  @param watchedDevice name of the data partition's device in the kernel's "bdi" subsystem */
    FwUpdateSettings(const QString &watchedDevice, QObject *parent);

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

private:
    BareboxConfig *findConfig(const QString &name) const;
    void setMainVariable(const QString &name, const QString &value);
    void fetchBootEnv();
    QString minFwVersion();
    QString ethernetAddress();
    QString mainVariable(const QString &name);

    BareboxConfig *currentConfig = nullptr; // not owned; null until a store is selected, and after a failed look-up
    const QString envPath;
    const QString envDevice;
    const QString watchedBlock;
};
