#include "bootenv/BootEnvironment.h"

#include "base/ChildProcess.h"
#include "bootenv/BareboxConfig.h"

#include <QDebug>
#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

BootEnvironment::BootEnvironment(QObject *storesParent)
    : envPath(u"/var/run/bareboxenv/"_s), envDevice(u"/dev/mtdblock1"_s), parent(storesParent)
{
}

BareboxConfig *BootEnvironment::findConfig(const QString &name) const
{
    return parent->findChild<BareboxConfig *>(name);
}

bool BootEnvironment::lookupConfig(const QString &name)
{
    currentConfig = findConfig(name);
    return currentConfig != nullptr;
}

void BootEnvironment::addConfig(const QString &path)
{
    qDebug() << "new config file:" << path;
    if (!lookupConfig(path))
        currentConfig = new BareboxConfig(parent, envPath, path);
}

bool BootEnvironment::delConfig(const QString &path)
{
    if (path == mainConfig) {
        qDebug("deleting main config not allowed.");
        return false;
    }

    BareboxConfig *const config = findConfig(path);
    if (!config)
        return false;

    lookupConfig(mainConfig);
    if (!QDir(envPath).remove(path))
        return false;
    delete config;
    return true;
}

QString BootEnvironment::getEnv(const QString &name) const
{
    return currentConfig ? currentConfig->getTrimmed(name) : QString();
}

void BootEnvironment::setEnv(const QString &name, const QString &value)
{
    if (!currentConfig) {
        qDebug("error: no bareboxconfig set");
        return;
    }
    currentConfig->set(name, value);
}

void BootEnvironment::setMainVariable(const QString &name, const QString &value)
{
    addConfig(mainConfig);
    setEnv(name, value);
}

void BootEnvironment::setIp(const QString &ip)
{
    setMainVariable(u"eth0.ipaddr"_s, ip);
}

void BootEnvironment::setGateway(const QString &gateway)
{
    setMainVariable(u"eth0.gateway"_s, gateway);
}

void BootEnvironment::setNetmask(const QString &netmask)
{
    setMainVariable(u"eth0.netmask"_s, netmask);
}

void BootEnvironment::setDhcp(bool dhcp)
{
    setMainVariable(u"ip"_s, dhcp ? u"dhcp"_s : u"none"_s);
}

QString BootEnvironment::mainVariable(const QString &name)
{
    addConfig(mainConfig);
    return getEnv(name);
}

QString BootEnvironment::minFwVersion()
{
    return mainVariable(u"min_fwversion"_s);
}

QString BootEnvironment::ethernetAddress()
{
    return mainVariable(u"eth0.ethaddr"_s);
}

void BootEnvironment::fetchBootEnv()
{
    QProcess tool;
    if (QDir().exists(envPath))
        runTool(tool, u"rm"_s, {u"-r"_s, u"--"_s, envPath});
    QDir().mkdir(envPath);

    QProcess unpack;
    runTool(unpack, u"bareboxenv"_s, {u"-l"_s, envPath, envDevice});
}

void BootEnvironment::loadEnv()
{
    fetchBootEnv();

    const QStringList names = QDir(envPath).entryList(QDir::Files, QDir::Unsorted);
    for (const QString &name : names)
        addConfig(name);
}

void BootEnvironment::saveEnv()
{
    for (QObject *child : parent->children()) {
        if (auto *config = dynamic_cast<BareboxConfig *>(child))
            config->save();
    }
    saveEnvNoRestore();
}

void BootEnvironment::saveEnvNoRestore()
{
    // Both tools share one process object: an erase that overruns its time is still running there, so the write is not
    // started on top of it.
    QProcess tool;
    runTool(tool, u"flash_eraseall"_s, {envDevice});
    runTool(tool, u"bareboxenv"_s, {u"-s"_s, envPath, envDevice});
}
