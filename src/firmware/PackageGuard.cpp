#include "firmware/PackageGuard.h"

#include <qmz/NodekeepGlobals.h>

#include <QFile>
#include <QList>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include <algorithm>
#include <array>
#include <memory>

using qmz::NodekeepGlobals;

namespace {

struct CloseDirectory
{
    void operator()(DIR *directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>; // null: there is none that can be read

struct Entry
{
    QByteArray path; // from the directory in which it was looked for, which is "."
    mode_t mode;
};

struct Tree
{
    QList<Entry> entries; // each behind the directory that holds it
    bool isWhole = true;
};

Directory firmwareDirectories()
{
    return Directory(::opendir(QFile::encodeName(NodekeepGlobals::UPDATE_PATH).constData()));
}

/** @param path from `parent`; no directory when it is a link */
Directory openDirectory(int parent, const QByteArray &path)
{
    return Directory(::fdopendir(::openat(parent, path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
}

int descriptor(const Directory &directory)
{
    return ::dirfd(directory.get());
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

/** The type and rights of an entry, of a link its own; 0 when there is nothing. */
mode_t modeOf(const Directory &directory, const QByteArray &path)
{
    struct stat status
    {
    };
    ::fstatat(descriptor(directory), path.constData(), &status, AT_SYMLINK_NOFOLLOW);
    return status.st_mode;
}

/** All that a directory holds, at any depth: one level is open at a time. */
Tree treeBelow(const Directory &top)
{
    Tree tree;
    QByteArrayList waiting{"."};
    while (!waiting.isEmpty()) {
        const QByteArray path = waiting.takeLast();
        const Directory directory = openDirectory(descriptor(top), path);
        tree.isWhole = tree.isWhole && directory;
        for (const QByteArray &name : namesIn(directory)) {
            const Entry entry{path + '/' + name, modeOf(directory, name)};
            tree.entries.append(entry);
            if (S_ISDIR(entry.mode))
                waiting.append(entry.path);
        }
    }
    return tree;
}

/** Where a link leads, as it is written in it. */
QByteArray linkText(const Directory &directory, const QByteArray &path)
{
    std::array<char, PATH_MAX> text{};
    const ssize_t length = ::readlinkat(descriptor(directory), path.constData(), text.data(), text.size());
    return {text.data(), length > 0 ? length : 0};
}

/** Whether a link surely leads to a place below a directory, itself as many levels below. Steps up count in front
 *  alone: behind a name, which may be a link too, nobody knows from where they start. */
bool leadsBelow(const QByteArray &text, qsizetype level)
{
    if (text.isEmpty() || text.startsWith('/'))
        return false;
    const QByteArrayList steps = text.split('/');
    const qsizetype stepsUp = steps.lastIndexOf("..") + 1;
    return stepsUp <= level && steps.first(stepsUp).count("..") == stepsUp;
}

bool isPlain(const Directory &top, const Entry &entry)
{
    if (S_ISLNK(entry.mode))
        return leadsBelow(linkText(top, entry.path), entry.path.count('/') - 1);
    return S_ISDIR(entry.mode) || (S_ISREG(entry.mode) && (entry.mode & (S_ISUID | S_ISGID)) == 0);
}

/** Not by a tool, which would have to be told names that no QString holds. */
void removeWhole(const Directory &parent, const QByteArray &name)
{
    if (const Directory top = openDirectory(descriptor(parent), name)) {
        const QList<Entry> entries = treeBelow(top).entries;
        std::for_each(entries.rbegin(), entries.rend(), [&](const Entry &entry) {
            ::unlinkat(descriptor(top), entry.path.constData(), S_ISDIR(entry.mode) ? AT_REMOVEDIR : 0);
        });
    }
    ::unlinkat(descriptor(parent), name.constData(), S_ISDIR(modeOf(parent, name)) ? AT_REMOVEDIR : 0);
}

} // namespace

void removeLinksLeadingOut()
{
    const Directory place = firmwareDirectories();
    for (const QByteArray &name : namesIn(place)) {
        if (S_ISLNK(modeOf(place, name)))
            ::unlinkat(descriptor(place), name.constData(), 0);
        const Directory top = openDirectory(descriptor(place), name);
        if (!top)
            continue;
        for (const Entry &entry : treeBelow(top).entries) {
            if (S_ISLNK(entry.mode) && !isPlain(top, entry))
                ::unlinkat(descriptor(top), entry.path.constData(), 0);
        }
    }
}

QByteArrayList firmwareEntries()
{
    return namesIn(firmwareDirectories());
}

void removeStrangers(const QByteArrayList &others)
{
    const Directory place = firmwareDirectories();
    for (const QByteArray &name : namesIn(place)) {
        if (name != QFile::encodeName(NodekeepGlobals::FW_DIRNAME) && !others.contains(name))
            removeWhole(place, name);
    }
}

bool isHarmless(const QDir &firmware)
{
    const Directory top = openDirectory(AT_FDCWD, QFile::encodeName(firmware.absolutePath()));
    if (!top)
        return false;
    const Tree tree = treeBelow(top);
    return tree.isWhole && std::ranges::all_of(tree.entries, [&](const Entry &entry) { return isPlain(top, entry); });
}
