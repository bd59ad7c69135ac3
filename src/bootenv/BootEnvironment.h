#pragma once

#include <QObject>
#include <QString>

class BareboxConfig;

/** The store of the device itself, which is always there and selected at first. */
inline const QString mainConfig = QStringLiteral("config");

/** The boot loader's environment: its stores, of which one is the current one, and their way to the flash and back.
 *
 *  The boot loader keeps its environment in a flash partition. While the daemon runs, it lies unpacked in `envPath`, a
 *  variable file each, and each file is a BareboxConfig. Variables are changed in memory; `saveEnv` alone brings them
 *  to the flash.
 *
 *  Calls that run tools block while these run, up to 30 seconds each, and tell nobody how it went. */
class BootEnvironment
{
public:
    /** @param storesParent becomes the parent of all stores; outlives this object */
    explicit BootEnvironment(QObject *storesParent);
    Q_DISABLE_COPY_MOVE(BootEnvironment)

    /** @return the store of that name, with a null name any; null when there is none */
    BareboxConfig *findConfig(const QString &name) const;
    /** Selects a store.
     *  @param name file name of the store; an unknown one leaves no store selected
     *  @return whether there is such a store */
    bool lookupConfig(const QString &name);
    /** Selects a store, and makes it first when there is none of that name. A new store reads its file in `envPath`
     *  if there is one; its own file comes into being with the next `saveEnv`. */
    void addConfig(const QString &path);
    /** Removes a store and its file, and selects the main one. The flash keeps the file until the next save.
     *  @return false for the main store, which can't be removed, for an unknown one, and when the file can't be
     *          removed; in the last case the selection has changed all the same */
    bool delConfig(const QString &path);

    /** A variable of the current store without outer white space and one pair of double quotes; null when there is no
     *  such variable, or no current store. */
    QString getEnv(const QString &name) const;
    /** Changes a variable of the current store, in memory. Without a current store nothing changes. */
    void setEnv(const QString &name, const QString &value);

    // Each selects the main store and changes a variable there, in memory.
    void setIp(const QString &ip);
    void setGateway(const QString &gateway);
    void setNetmask(const QString &netmask);
    void setDhcp(bool dhcp);

    // Each selects the main store and takes a variable from there.
    /** "min_fwversion", the lowest version of firmware that may be taken in. */
    QString minFwVersion();
    /** "eth0.ethaddr", the hardware address of the port. */
    QString ethernetAddress();

    /** Unpacks the flash into `envPath`, whose old content is discarded, and makes a store for each file that has none
     *  yet. A store that exists keeps its variables, whatever the flash holds; the current store is then any of
     *  them. */
    void loadEnv();
    /** Writes every store to its file and packs `envPath` into the flash. */
    void saveEnv();
    /** Packs `envPath` into the flash as it stands, without writing the stores to their files. The flash is erased
     *  first: a power cut between the two leaves it empty. */
    void saveEnvNoRestore();

    const QString envPath; ///< with a final slash
    const QString envDevice;

private:
    void setMainVariable(const QString &name, const QString &value);
    QString mainVariable(const QString &name);
    void fetchBootEnv();

    QObject *const parent;
    BareboxConfig *currentConfig = nullptr; // not owned; null until a store is selected, and after a failed look-up
};
