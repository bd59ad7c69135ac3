#include "plc/ApplicationFiles.h"

#include <qmz/NodekeepGlobals.h>
#include <qmz/SystemEvent.h>

#include <QDir>

using namespace Qt::StringLiterals;

void makePlcDirectories()
{
    const QDir directory(plcDirectory);
    directory.mkdir(u"visu"_s);
    directory.mkdir(u"PlcLogic"_s);
}

void removePlcApplicationFiles(const QString &origin)
{
    const QDir directory(qmz::NodekeepGlobals::CODESYS_LICENSE_PATH);
    const QStringList names = directory.entryList({u"*.app"_s, u"*.crc"_s}, QDir::NoFilter, QDir::Unsorted);
    for (const QString &name : names) {
        qmz::SystemEvent::codesysFileRemoved(name, origin);
        QFile::remove(directory.absoluteFilePath(name));
    }
}
