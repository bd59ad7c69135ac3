#include "system/WebPasswordReset.h"

#include "base/ChildProcess.h"
#include "base/RegularFile.h"
#include "bootenv/BareboxConfig.h"
#include "bootenv/BootEnvironment.h"
#include "bootenv/BootEnvironmentOwner.h"
#include "system/PasswordResetFile.h"

#include <qmz/SystemEvent.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;
using qmz::SystemEvent;

namespace {

const QString eventOrigin = u"/"_s;

/** Whether gpg accepts the file, which carries its signature inside. Waits for gpg without limit. */
bool isSigned(const QString &file)
{
    if (!isForTools(file) && !QFileInfo(file).isDir()) // which gpg refuses by itself
        return false;

    QProcess gpg;
    gpg.setProcessChannelMode(QProcess::ForwardedChannels);
    return runTool(gpg, u"gpg"_s, {u"--verify"_s, asFileArgument(file)}, noLimitMs) == ToolEnd::Succeeded;
}

} // namespace

bool resetWebPassword(const QString &file, const QString &hostname, BareboxConfig &store)
{
    const auto refuse = [](void (*tell)(const QString &)) {
        tell(eventOrigin);
        return false;
    };

    if (!isSigned(file))
        return refuse(SystemEvent::pwResetVerifyFailed);

    QFile text;
    if (!openRegularFile(text, file, QIODevice::ReadOnly))
        return refuse(SystemEvent::pwResetFileError);
    const PasswordResetFile made = PasswordResetFile::read(text);
    text.close();

    if (made.hostname.isEmpty() || made.mac.isEmpty())
        return refuse(SystemEvent::pwResetFormatError);
    if (QString::fromLocal8Bit(made.hostname) != hostname)
        return refuse(SystemEvent::pwResetHostnameError);

    BootEnvironment *const environment = bootEnvironmentOnBus();
    if (!environment)
        return refuse(SystemEvent::pwResetFileError);
    if (environment->ethernetAddress().toLocal8Bit() != made.mac)
        return refuse(SystemEvent::pwResetMacError);

    store.set(u"pw"_s, u""_s);
    store.save();
    SystemEvent::pwResetSuccessful(eventOrigin);
    QDir(u"/"_s).remove(file);
    return true;
}
