// The boot environment's stores and their variables, as clients and the rest of the daemon select and change them.

#include "firmware/FwUpdateSettings.h"

#include "bootenv/BareboxConfig.h"

#include <QDebug>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {
const QString mainConfig = u"config"_s;
}

BareboxConfig *FwUpdateSettings::findConfig(const QString &name) const
{
    return findChild<BareboxConfig *>(name);
}

bool FwUpdateSettings::lookupConfig(const QString &name)
{
    currentConfig = findConfig(name);
    return currentConfig != nullptr;
}

void FwUpdateSettings::addConfig(const QString &path)
{
    qDebug() << "new config file:" << path;
    if (!lookupConfig(path))
        currentConfig = new BareboxConfig(this, envPath, path);
}

bool FwUpdateSettings::delConfig(const QString &path)
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

QString FwUpdateSettings::getEnv(const QString &name) const
{
    return currentConfig ? currentConfig->getTrimmed(name) : QString();
}

void FwUpdateSettings::setEnv(const QString &name, const QString &value)
{
    if (!currentConfig) {
        qDebug("error: no bareboxconfig set");
        return;
    }
    currentConfig->set(name, value);
}

void FwUpdateSettings::setMainVariable(const QString &name, const QString &value)
{
    addConfig(mainConfig);
    setEnv(name, value);
}

void FwUpdateSettings::setIp(const QString &ip)
{
    setMainVariable(u"eth0.ipaddr"_s, ip);
}

void FwUpdateSettings::setGateway(const QString &gateway)
{
    setMainVariable(u"eth0.gateway"_s, gateway);
}

void FwUpdateSettings::setNetmask(const QString &netmask)
{
    setMainVariable(u"eth0.netmask"_s, netmask);
}

void FwUpdateSettings::setDhcp(bool dhcp)
{
    setMainVariable(u"ip"_s, dhcp ? u"dhcp"_s : u"none"_s);
}

QString FwUpdateSettings::mainVariable(const QString &name)
{
    addConfig(mainConfig);
    return getEnv(name);
}

QString FwUpdateSettings::minFwVersion()
{
    return mainVariable(u"min_fwversion"_s);
}

QString FwUpdateSettings::ethernetAddress()
{
    return mainVariable(u"eth0.ethaddr"_s);
}
