// The device's host name: the kernel's name and its stored form in /etc/hostname.

#include "system/System.h"

#include "base/KernelHostname.h"
#include "base/RegularFile.h"

#include <qmz/SystemEvent.h>
#include <qmz/Upstart.h>

#include <QFileSystemWatcher>
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

void System::readInitialHostname()
{
    if (const std::optional<QString> stored = readValueFile(storedHostnamePath)) {
        hostname = *stored;
        return;
    }
    readKernelHostname();
    if (hostname.isEmpty())
        setHostname(defaultHostname);
}

bool System::readKernelHostname()
{
    const std::optional<QString> name = ::readKernelHostname();
    if (name)
        hostname = *name;
    return name.has_value();
}

void System::watchKernelHostname()
{
    watcher = new QFileSystemWatcher({kernelHostnamePath}, this);
    connect(watcher, &QFileSystemWatcher::fileChanged, this, &System::hostnameChanged);
}

QString System::getHostname()
{
    return readKernelHostname() ? hostname : defaultHostname;
}

void System::setHostname(const QString &name)
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

void System::hostnameChanged(const QString & /*path*/)
{
    readKernelHostname();
    Upstart::restartNameservices();
    qmz::SystemEvent::deviceNameChange(hostname, u"/"_s);
}
