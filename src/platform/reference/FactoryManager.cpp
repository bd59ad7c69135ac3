#include <qmz/FactoryManager.h>

#include "CallRecord.h"

FactoryManager::FactoryManager(const QString &domain, const QString &pattern, QObject *parent) : QObject(parent)
{
    recordCall("FactoryManager.FactoryManager", {domain, pattern});
}

void FactoryManager::start()
{
    recordCall("FactoryManager.start");
}
