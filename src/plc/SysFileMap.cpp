#include "plc/SysFileMap.h"

#include "base/RegularFile.h"
#include "plc/ApplicationFiles.h"

#include <QFile>

QStringList sysFileMapNames(const QByteArray &map)
{
    static const QByteArray directory = plcDirectory.toLatin1();
    QStringList names;
    bool inSection = false;
    for (const QByteArray &line : map.split('\n')) {
        if (!inSection) {
            inSection = line.contains("[SysFileMap]");
            continue;
        }
        if (line.startsWith('['))
            break;
        const QByteArrayView entry = upToNul(line);
        const qsizetype end = entry.indexOf('=');
        if (end < 0)
            continue;
        const QByteArrayView path = entry.first(end);
        if (path.startsWith(directory))
            names.append(QFile::decodeName(path.sliced(path.lastIndexOf('/') + 1).toByteArray()));
    }
    return names;
}
