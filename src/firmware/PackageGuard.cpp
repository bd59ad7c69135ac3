#include "firmware/PackageGuard.h"

#include <qmz/NodekeepGlobals.h>

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <climits>

#include <array>
#include <functional>
#include <memory>
#include <vector>

using qmz::NodekeepGlobals;

namespace {

struct CloseDirectory
{
    void operator()(DIR *directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>; // null: there is none that can be read

/** What is done with an entry of a directory; false ends the visit of all others. */
using Visit = std::function<bool(int directory, const QByteArray &name, const struct stat &status)>;

/** @return none when there is a link in its place */
Directory openDirectory(int parent, const QByteArray &name)
{
    return Directory(::fdopendir(::openat(parent, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
}

Directory firmwareDirectories()
{
    return openDirectory(AT_FDCWD, QFile::encodeName(NodekeepGlobals::UPDATE_PATH) + "/.");
}

QByteArrayList namesIn(const Directory &directory)
{
    QByteArrayList names;
    while (const dirent *const entry = directory ? ::readdir(directory.get()) : nullptr) {
        const QByteArray name = entry->d_name;
        if (name != "." && name != "..")
            names.append(name);
    }
    return names;
}

/** About an entry itself, be it a link; of mode 0 when it can't be looked at. */
struct stat statusOf(int directory, const QByteArray &name)
{
    struct stat status = {};
    ::fstatat(directory, name.constData(), &status, AT_SYMLINK_NOFOLLOW);
    return status;
}

/** The way through all that a directory holds, at any depth: each directory is visited behind what is in it, and one
 *  alone is open at a time. */
class Walk
{
public:
    Walk(Directory top, Visit visitor) : here(std::move(top)), visit(std::move(visitor)) {}

    /** @return false when a visit did, or something could not be looked at */
    bool go()
    {
        bool isWhole = true;
        bool goesOn = here && visitFiles();
        while (goesOn) {
            if (Directory next = waiting.back().isEmpty() ? nullptr : openDirectory(place(), waiting.back().last())) {
                here = std::move(next);
                goesOn = visitFiles();
                continue;
            }
            if (waiting.back().isEmpty()) { // all of it was seen
                waiting.pop_back();
                if (waiting.empty())
                    return isWhole;
                here = openDirectory(place(), "..");
            } else {
                isWhole = false;
            }
            const QByteArray name = waiting.back().takeLast();
            goesOn = here && visit(place(), name, statusOf(place(), name));
        }
        return false;
    }

private:
    int place() const { return ::dirfd(here.get()); }

    bool visitFiles()
    {
        waiting.emplace_back();
        for (const QByteArray &name : namesIn(here)) {
            const struct stat status = statusOf(place(), name);
            if (S_ISDIR(status.st_mode))
                waiting.back().append(name);
            else if (!visit(place(), name, status))
                return false;
        }
        return true;
    }

    Directory here;
    Visit visit;
    std::vector<QByteArrayList> waiting; // directories by level; we are in the last one of each but the deepest
};

/** Whether a link surely leads below the directory it stands in. With a step up nobody knows: behind a name that may be
 *  a link too, or once the link has been given a second name elsewhere. */
bool leadsDown(int directory, const QByteArray &link)
{
    std::array<char, PATH_MAX> buffer{};
    const ssize_t length = ::readlinkat(directory, link.constData(), buffer.data(), buffer.size());
    const QByteArray text(buffer.data(), length > 0 ? length : 0);
    return !text.isEmpty() && !text.startsWith('/') && !text.split('/').contains("..");
}

/** Whether a firmware may hold such an entry. */
bool isPlain(int directory, const QByteArray &name, const struct stat &status)
{
    if (S_ISLNK(status.st_mode))
        return leadsDown(directory, name);
    return S_ISDIR(status.st_mode) || (S_ISREG(status.st_mode) && (status.st_mode & (S_ISUID | S_ISGID)) == 0);
}

bool removeEntry(int directory, const QByteArray &name, const struct stat &status)
{
    ::unlinkat(directory, name.constData(), S_ISDIR(status.st_mode) ? AT_REMOVEDIR : 0);
    return true;
}

bool removeUnlessPlain(int directory, const QByteArray &name, const struct stat &status)
{
    const bool isSeen = status.st_mode != 0;
    return !isSeen || isPlain(directory, name, status) || removeEntry(directory, name, status);
}

} // namespace

void PackageGuard::beforeUnpacking()
{
    namesBefore.clear();
    placeBefore = {};
    const Directory place = firmwareDirectories();
    if (!place)
        return;
    const int descriptor = ::dirfd(place.get());
    for (const QByteArray &name : namesIn(place)) {
        if (const struct stat status = statusOf(descriptor, name); S_ISLNK(status.st_mode))
            removeEntry(descriptor, name, status);
        Walk(openDirectory(descriptor, name), removeUnlessPlain).go();
    }
    namesBefore = namesIn(firmwareDirectories());
    ::fstat(descriptor, &placeBefore);
}

void PackageGuard::afterUnpacking(const QStringList &known)
{
    const Directory place = firmwareDirectories();
    if (!place || !isPlaceBefore(::dirfd(place.get())))
        return;
    for (const QString &name : known)
        namesBefore.append(QFile::encodeName(name));
    const int descriptor = ::dirfd(place.get());
    for (const QByteArray &name : namesIn(place)) {
        if (name == QFile::encodeName(NodekeepGlobals::FW_DIRNAME))
            continue;
        const bool isStranger = !namesBefore.contains(name);
        Walk(openDirectory(descriptor, name), isStranger ? removeEntry : removeUnlessPlain).go();
        if (isStranger)
            removeEntry(descriptor, name, statusOf(descriptor, name));
    }
    static_cast<void>(::fchown(descriptor, placeBefore.st_uid, placeBefore.st_gid));
    ::fchmod(descriptor, placeBefore.st_mode & 07777);
}

bool PackageGuard::isPlaceBefore(int place) const
{
    struct stat status = {};
    ::fstat(place, &status);
    return status.st_mode != 0 && status.st_dev == placeBefore.st_dev && status.st_ino == placeBefore.st_ino;
}

bool isHarmless(const QDir &firmware)
{
    Directory top = openDirectory(AT_FDCWD, QFile::encodeName(firmware.absolutePath()));
    struct statvfs partition = {};
    if (!top || ::fstatvfs(::dirfd(top.get()), &partition) != 0)
        return false;
    // A file with holes can be larger, and would be read for hours.
    const quint64 capacity = quint64{partition.f_blocks} * partition.f_frsize;
    return Walk(std::move(top),
                [capacity](int directory, const QByteArray &name, const struct stat &status) {
                    return isPlain(directory, name, status) && static_cast<quint64>(status.st_size) <= capacity;
                })
        .go();
}
