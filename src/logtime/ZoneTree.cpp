#include "logtime/ZoneTree.h"

#include <QByteArrayView>
#include <QFile>
#include <QStringList>

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/** Room for any real tree of zones. Links that lead back up multiply it without an end, and an answer that the bus does
 *  not carry would cost the daemon its connection. */
constexpr qsizetype maxTextSize = qsizetype{4} * 1024 * 1024;

struct Names
{
    QStringList subdirectories;
    QStringList files;
};

/** The kind of an entry, or of what a link leads to, as S_IFMT has it. Only links cost a look at the file. */
mode_t kindOf(const QByteArray &directory, const dirent &entry)
{
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN)
        return static_cast<mode_t>(DTTOIF(entry.d_type));
    struct stat status = {};
    // By its whole path: the kernel then counts all links on the way, and follows a few only.
    ::stat((directory + '/' + entry.d_name).constData(), &status);
    return status.st_mode & S_IFMT;
}

Names namesIn(const QByteArray &path)
{
    Names names;
    DIR *const directory = ::opendir(path.constData());
    while (const dirent *const entry = directory == nullptr ? nullptr : ::readdir(directory)) {
        // A name in no encoding could not be told.
        if (entry->d_name[0] == '.' || !QByteArrayView(entry->d_name).isValidUtf8())
            continue;
        const mode_t kind = kindOf(path, *entry);
        if (S_ISDIR(kind))
            names.subdirectories.append(QFile::decodeName(entry->d_name));
        else if (S_ISREG(kind))
            names.files.append(QFile::decodeName(entry->d_name));
    }
    if (directory != nullptr)
        ::closedir(directory);
    names.subdirectories.sort(Qt::CaseInsensitive);
    names.files.sort(Qt::CaseInsensitive);
    return names;
}

void appendNode(QString &text, const QString &path, qsizetype rootLength)
{
    const Names names = namesIn(QFile::encodeName(path));

    text += u"{\"path\":\""_s + path.mid(rootLength + 1) + u'"';
    const qsizetype begin = text.size();
    for (const QString &name : names.subdirectories) {
        if (text.size() >= maxTextSize)
            break;
        text += text.size() == begin ? u",\"subdirs\": ["_s : u","_s;
        appendNode(text, path + u'/' + name, rootLength);
    }
    if (text.size() != begin)
        text += u']';
    text += u",\"selections\":["_s;
    if (!names.files.isEmpty())
        text += u'"' + names.files.join(u"\",\""_s) + u'"';
    text += u"]}"_s;
}

} // namespace

QString zoneTreeText(const QString &root)
{
    QString text;
    appendNode(text, root, root.size());
    return text;
}
