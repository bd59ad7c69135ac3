// Reads the names in a file map: none may lead elsewhere or be an option of tar, and a map of them reads back so.

#include "FuzzTarget.h"

#include "base/ChildProcess.h"
#include "plc/SysFileMap.h"

void checkInput(QByteArrayView input)
{
    const QStringList names = sysFileMapNames(input.toByteArray());

    QByteArray map = "[SysFileMap]\n";
    for (const QString &name : names) {
        require(!name.contains(u'/') && !name.contains(QChar::Null));
        require(!asFileArgument(name).startsWith(u'-'));
        map += "/srv/codesys/" + name.toUtf8() + "=\n";
    }
    require(sysFileMapNames(map) == names);
}
