#include "firmware/Reboot.h"

#include "base/BusObject.h"
#include "base/ChildProcess.h"
#include "network/NetworkInterface.h"

#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <QFile>
#include <QProcess>

#include <unistd.h>

using namespace Qt::StringLiterals;

void rebootDevice()
{
    if (auto *const network = objectOnBus<NetworkInterface>(u"/system/network"_s))
        network->saveChanges();
    Upstart::stop(u"dorlanserver"_s, false);
    QFile::remove(u"/new_firmware"_s);
    ::sync();
    qmz::SystemEvent::reboot(u"/"_s);

    // A shutdown that takes its time goes on after we have stopped waiting; destroying its object would kill it.
    auto *const shutdown = new QProcess;
    QObject::connect(shutdown, &QProcess::finished, shutdown, &QObject::deleteLater);
    if (runTool(*shutdown, u"shutdown"_s, {u"-r"_s, u"now"_s}) == ToolEnd::NotStarted)
        delete shutdown;
}
