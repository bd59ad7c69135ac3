#include "bootenv/BareboxConfig.h"

#include "base/RegularFile.h"

#include <QDir>

#include <unistd.h>

BareboxConfig::BareboxConfig(QObject *parent, const QString &directory, const QString &fileName)
    : QObject(parent), filePath(QDir(directory).absoluteFilePath(fileName)), variables(readRegularFile(filePath))
{
    setObjectName(fileName);
}

void BareboxConfig::set(const QString &name, const QString &value)
{
    variables.set(name, value);
}

void BareboxConfig::syncSet(const QString &name, const QString &value)
{
    set(name, value);
    save();
}

QString BareboxConfig::get(const QString &name) const
{
    return variables.value(name);
}

QString BareboxConfig::getTrimmed(const QString &name) const
{
    return unquotedValue(variables.value(name));
}

bool BareboxConfig::exists(const QString &name) const
{
    return variables.contains(name);
}

QStringList BareboxConfig::variableList() const
{
    return variables.names();
}

QVariantMap BareboxConfig::getAll() const
{
    QVariantMap all;
    for (const QString &name : variables.names())
        all.insert(name, variables.value(name));
    return all;
}

void BareboxConfig::save()
{
    QFile file;
    if (!openRegularFile(file, filePath, QIODevice::WriteOnly))
        return;

    // The old content is gone by now, so a failing write has nothing to fall back on and goes unreported.
    file.write(variables.toBytes());
    file.flush();
    ::fsync(file.handle());
}
