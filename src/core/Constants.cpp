#include "core/Constants.h"

#include "base/BusObject.h"
#include "bootenv/BareboxConfig.h"
#include "firmware/FwUpdateSettings.h"

#include <qmz/NodekeepGlobals.h>

using namespace Qt::StringLiterals;

namespace {

const QString storeName = u"system"_s;

FwUpdateSettings *updateManager()
{
    return objectOnBus<FwUpdateSettings>(qmz::NodekeepGlobals::LOADER_PATH);
}

} // namespace

Constants::Constants(QObject *parent) : QObject(parent)
{
    setObjectName(qmz::NodekeepGlobals::CONSTANTS);
}

BareboxConfig *Constants::store()
{
    FwUpdateSettings *const manager = updateManager();
    if (!manager)
        return nullptr;
    if (auto *const config = manager->findChild<BareboxConfig *>(storeName))
        return config;
    manager->addConfig(storeName);
    return manager->findChild<BareboxConfig *>(storeName);
}

void Constants::saveStores()
{
    if (FwUpdateSettings *const manager = updateManager())
        manager->saveEnv();
}

bool Constants::set(const QString &name, const QString &value)
{
    BareboxConfig *const config = store();
    if (!config)
        return false;
    config->set(name, value);
    saveStores();
    return true;
}

QString Constants::get(const QString &name)
{
    const BareboxConfig *const config = store();
    return config ? config->get(name) : QString();
}

QStringList Constants::variableList()
{
    const BareboxConfig *const config = store();
    return config ? config->variableList() : QStringList();
}

bool Constants::isAvailable(const QString &name)
{
    return variableList().contains(name);
}
