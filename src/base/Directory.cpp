#include "base/Directory.h"

QDir ensureDirectory(const QString &path)
{
    QDir directory(path);
    if (!directory.exists()) {
        const QString name = directory.dirName();
        directory.cdUp();
        directory.mkdir(name);
        static_cast<void>(directory.cd(name));
    }
    return directory;
}
