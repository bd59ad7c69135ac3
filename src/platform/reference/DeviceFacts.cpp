#include <qmz/NodekeepGlobals.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

bool qmz::NodekeepGlobals::hasCodesys()
{
    return QFileInfo(u"/CODESYSControl"_s).isDir();
}
