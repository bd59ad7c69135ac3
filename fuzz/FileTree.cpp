#include "FileTree.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qsizetype maxEntries = 100;
constexpr qsizetype maxDepth = 50;

/** Opens a directory in another one, and makes it where it is missing; -1 when it is none, or a link. */
int enter(int directory, const QByteArray &name)
{
    ::mkdirat(directory, name.constData(), 0700);
    return ::openat(directory, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void makeFile(int directory, const QByteArray &name, mode_t mode)
{
    const int file = ::openat(directory, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0)
        return;
    ::fchmod(file, mode);
    ::close(file);
}

void makeEntry(int directory, const QByteArray &name)
{
    if (const qsizetype arrow = name.indexOf(" -> "); arrow >= 0)
        static_cast<void>(::symlinkat(name.mid(arrow + 4).constData(), directory, name.first(arrow).constData()));
    else if (name.endsWith('!'))
        makeFile(directory, name.chopped(1), S_ISUID | 0700);
    else if (name.endsWith('|'))
        static_cast<void>(::mkfifoat(directory, name.chopped(1).constData(), 0600));
    else
        makeFile(directory, name, 0600);
}

/** The names on a way to an entry, of which the last is empty for a directory and goes with what is said of it. */
QList<QByteArray> namesOf(const QByteArray &line)
{
    const qsizetype arrow = line.indexOf(" -> ");
    QList<QByteArray> names = (arrow < 0 ? line : line.first(arrow)).split('/');
    if (arrow >= 0)
        names.last() += line.sliced(arrow);
    return names;
}

void makeLine(int top, const QByteArray &line)
{
    if (line.contains('\0'))
        return;
    QList<QByteArray> names = namesOf(line);
    const QByteArray last = names.takeLast();
    if (names.size() > maxDepth || names.contains(".."))
        return;

    int directory = ::dup(top);
    for (const QByteArray &name : names) {
        const int next = directory < 0 ? -1 : enter(directory, name);
        ::close(directory);
        directory = next;
    }
    if (directory < 0)
        return;
    if (!last.isEmpty())
        makeEntry(directory, last);
    ::close(directory);
}

} // namespace

void makeFileTree(const QString &directory, QByteArrayView lines)
{
    const int top = ::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const QList<QByteArray> all = lines.toByteArray().split('\n');
    for (const QByteArray &line : all.first(qMin(all.size(), maxEntries)))
        makeLine(top, line);
    ::close(top);
}
