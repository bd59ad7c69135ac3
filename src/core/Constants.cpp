#include "core/Constants.h"

#include "bootenv/BareboxConfig.h"
#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"

#include <qmz/NodekeepGlobals.h>

using namespace Qt::StringLiterals;

namespace {

const QString storeName = u"system"_s;

} // namespace

Constants::Constants(QObject *parent) : QObject(parent)
{
    setObjectName(qmz::NodekeepGlobals::CONSTANTS);
}

BareboxConfig *Constants::store()
{
    BootEnvironment *const environment = bootEnvironmentOnBus();
    if (!environment)
        return nullptr;
    if (BareboxConfig *const config = environment->findConfig(storeName))
        return config;
    environment->addConfig(storeName);
    return environment->findConfig(storeName);
}

void Constants::saveStores()
{
    if (BootEnvironment *const environment = bootEnvironmentOnBus())
        environment->saveEnv();
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
