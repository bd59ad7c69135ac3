#include "system/Uploads.h"

#include "base/ChildProcess.h"
#include "base/Directory.h"

#include <qmz/NodekeepGlobals.h>

#include <QDebug>
#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;
using qmz::NodekeepGlobals;

namespace {

bool isCertificate(const QString &name)
{
    return name.endsWith(u".pdf"_s, Qt::CaseInsensitive);
}

/** Copies a file under a name into a directory, whose last level is made when it is missing, over an older one. */
void storeFile(const QString &source, const QString &directory, const QString &name)
{
    const QString target = ensureDirectory(directory).filePath(name);

    QFile::remove(target);
    // Copying would wait like a tool.
    if (!isForTools(source) || !QFile::copy(source, target))
        qWarning().noquote() << source << "can't be stored as" << target;
}

} // namespace

void storeUpload(const QString &fname, const QString &rname)
{
    if (rname == NodekeepGlobals::CODESYS_LICENSE_FILE) {
        storeFile(fname, NodekeepGlobals::CODESYS_LICENSE_PATH, rname);
        ::sync();
    }

    if (!isCertificate(rname))
        return;

    qDebug("Certificate upload");
    storeFile(fname, NodekeepGlobals::CERTIFICATE_PATH, rname);
    QFile::remove(fname);
    ::sync();
}

int deleteAllCertificates()
{
    qDebug("delete all certificates");

    QDir certificates(NodekeepGlobals::CERTIFICATE_PATH);
    if (!certificates.exists())
        return 0;

    int removed = 0;
    const QStringList names = certificates.entryList();
    for (const QString &name : names) {
        if (isCertificate(name) && certificates.remove(name))
            ++removed;
    }
    if (removed > 0)
        ::sync();
    return removed;
}
