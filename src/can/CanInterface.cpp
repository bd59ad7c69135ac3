#include "can/CanInterface.h"

#include "base/ChildProcess.h"
#include "can/CanTermination.h"
#include "can/CanconfigOutput.h"

#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QString port = u"can0"_s;

const QString bitRate = u"BITRATE"_s;
const QString terminationState = u"TERMINATION"_s;
const QString restartTime = u"RESTART"_s;

/** What the tool prints goes where the daemon's own lines go. */
void runPortTool(const QString &program, const QStringList &arguments)
{
    QProcess tool;
    tool.setProcessChannelMode(QProcess::ForwardedChannels);
    runTool(tool, program, arguments, noLimitMs);
}

void restartPort()
{
    runPortTool(u"/sbin/ifdown"_s, {port});
    runPortTool(u"/sbin/ifconfig"_s, {port, u"down"_s});
    runPortTool(u"/sbin/ifup"_s, {port});
}

} // namespace

CanInterface::CanInterface(QObject *parent) : QObject(parent), canConfig(this, u"/etc/network/"_s, u"canconfig"_s)
{
    if (canConfig.exists(bitRate)) {
        setTermination(canConfig.getTrimmed(terminationState).toInt() != 0);
    } else {
        canConfig.set(bitRate, u"1000000"_s);
        canConfig.set(terminationState, u"0"_s);
        canConfig.set(restartTime, u"1000"_s);
        canConfig.save();
    }
}

int CanInterface::getActualBaudrate() const
{
    return bitRateIn(toolOutput(u"/sbin/canconfig"_s, {port}));
}

int CanInterface::getCanBaudrate() const
{
    return canConfig.getTrimmed(bitRate).toInt();
}

void CanInterface::setBaudrate(int bitsPerSecond)
{
    canConfig.syncSet(bitRate, QString::number(bitsPerSecond));
    restartPort();
}

bool CanInterface::getCanTerm() const
{
    return readCanTermination();
}

void CanInterface::setTermination(bool on)
{
    canConfig.syncSet(terminationState, on ? u"1"_s : u"0"_s);
    writeCanTermination(on);
}

uint CanInterface::getRestartMs() const
{
    return canConfig.getTrimmed(restartTime).toUInt();
}

void CanInterface::setRestartMs(uint milliseconds)
{
    canConfig.syncSet(restartTime, QString::number(milliseconds));
    restartPort();
}
