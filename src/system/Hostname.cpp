#include "system/Hostname.h"

#include "base/KernelHostname.h"
#include "base/RegularFile.h"

#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <QRegularExpression>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString storedHostnamePath = u"/etc/hostname"_s;

bool isValidHostname(const QString &name)
{
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(uR"(([a-zA-Z0-9]|[a-zA-Z0-9][a-zA-Z0-9\-]*[a-zA-Z0-9]))"_s));
    return pattern.match(name).hasMatch();
}

bool storeHostname(const QByteArray &line)
{
    QFile file;
    if (!openRegularFile(file, storedHostnamePath, QIODevice::WriteOnly))
        return false;
    const bool isComplete = file.write(line) == line.size() && file.flush();
    file.close();
    ::sync(); // of a line that fell short too: the file was truncated in any case
    return isComplete;
}

} // namespace

void Hostname::readInitialHostname()
{
    if (const std::optional<QString> stored = readValueFile(storedHostnamePath)) {
        hostname = *stored;
        return;
    }
    rememberKernelHostname();
    if (hostname.isEmpty())
        setHostname(defaultHostname);
}

bool Hostname::rememberKernelHostname()
{
    const std::optional<QString> name = readKernelHostname();
    if (name)
        hostname = *name;
    return name.has_value();
}

void Hostname::watchKernelHostname()
{
    watcher.addPath(kernelHostnamePath);
    connect(&watcher, &QFileSystemWatcher::fileChanged, this, &Hostname::hostnameChanged);
}

QString Hostname::getHostname()
{
    return rememberKernelHostname() ? hostname : defaultHostname;
}

void Hostname::setHostname(const QString &name)
{
    if (name == hostname)
        return;
    if (!isValidHostname(name)) {
        qmz::SystemEvent::hostnameInvalid(name, hostname, u"/system"_s);
        return;
    }

    hostname = name;
    const QByteArray line = name.toLocal8Bit() + '\n';
    if (!storeHostname(line))
        qWarning("%s: can't be written, ignoring", qUtf8Printable(storedHostnamePath));
    if (!writeRegularFile(kernelHostnamePath, line))
        qWarning("%s: can't be written, ignoring", qUtf8Printable(kernelHostnamePath));
}

void Hostname::hostnameChanged()
{
    rememberKernelHostname();
    Upstart::restartNameservices();
    qmz::SystemEvent::deviceNameChange(hostname, u"/"_s);
}
