#include "firmware/PackageGuard.h"

#include "base/ChildProcess.h"

#include <qmz/NodekeepGlobals.h>

#include <QDirIterator>
#include <QFile>
#include <QProcess>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include <array>

using namespace Qt::StringLiterals;
using qmz::NodekeepGlobals;

namespace {

constexpr QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

/** Where a link leads, as it is written in it. */
QString linkText(const QString &link)
{
    std::array<char, PATH_MAX> text{};
    const ssize_t length = ::readlink(QFile::encodeName(link).constData(), text.data(), text.size());
    return QFile::decodeName(QByteArray(text.data(), length > 0 ? length : 0));
}

/** Whether a link surely leads to a place below `top`. Steps up count in front alone: behind a name, which may be a
 *  link too, nobody knows from where they start. */
bool leadsBelow(const QString &link, const QString &top)
{
    const QString text = linkText(link);
    if (text.isEmpty() || text.startsWith(u'/'))
        return false;
    const qsizetype lastStepUp = text.split(u'/').lastIndexOf(u".."_s);
    const QStringList stepsUp = text.split(u'/').first(lastStepUp + 1);
    if (stepsUp.count(u".."_s) != stepsUp.size())
        return false;
    const QString target = QDir::cleanPath(QFileInfo(link).path() + u'/' + text);
    return target == top || target.startsWith(top + u'/');
}

bool isPlain(const QString &path, const QString &top)
{
    struct stat status
    {
    };
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    if (S_ISLNK(status.st_mode))
        return leadsBelow(path, top);
    return S_ISDIR(status.st_mode) || (S_ISREG(status.st_mode) && (status.st_mode & (S_ISUID | S_ISGID)) == 0);
}

} // namespace

void removeLinksLeadingOut()
{
    const QDir place(NodekeepGlobals::UPDATE_PATH);
    for (const QString &name : firmwareEntries()) {
        const QString top = place.absoluteFilePath(name);
        if (QFileInfo(top).isSymLink()) {
            QFile::remove(top);
            continue;
        }
        QStringList links;
        for (QDirIterator entries(top, everything, QDirIterator::Subdirectories); entries.hasNext();) {
            const QString path = entries.next();
            if (entries.fileInfo().isSymLink() && !leadsBelow(path, top))
                links.append(path);
        }
        for (const QString &link : links)
            QFile::remove(link);
    }
}

QStringList firmwareEntries()
{
    return QDir(NodekeepGlobals::UPDATE_PATH).entryList(everything);
}

void removeStrangers(const QStringList &others)
{
    const QDir place(NodekeepGlobals::UPDATE_PATH);
    for (const QString &name : firmwareEntries()) {
        if (name == NodekeepGlobals::FW_DIRNAME || others.contains(name))
            continue;
        QProcess remove;
        runTool(remove, u"rm"_s, {u"-rf"_s, place.absoluteFilePath(name)}, noLimitMs);
    }
}

bool isHarmless(const QDir &firmware)
{
    const QString top = firmware.absolutePath();
    if (QFileInfo(top).isSymLink())
        return false;
    for (QDirIterator entries(top, everything, QDirIterator::Subdirectories); entries.hasNext();) {
        if (!isPlain(entries.next(), top))
            return false;
    }
    return true;
}
