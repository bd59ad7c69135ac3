#include <qmz/OdAccess.h>

#include "CallRecord.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

OdAccess *OdAccess::getInstance()
{
    static OdAccess instance;
    return QFileInfo(u"/run/qmz/od"_s).isDir() ? &instance : nullptr;
}

void OdAccess::odRegisterObjectSync(int index, int subIndex, int type, unsigned int access, const QString &service,
                                    const QString &path, const QString &readMethod, const QString &writeMethod,
                                    const QString &label, unsigned int flags)
{
    recordCall("OdAccess.odRegisterObjectSync",
               {index, subIndex, type, access, service, path, readMethod, writeMethod, label, flags});
}
