#include "logtime/ZoneTree.h"

#include <QDir>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

/** Room for any real tree of zones. Links that lead back up multiply it without an end, and an answer that the bus does
 *  not carry would cost the daemon its connection. */
constexpr qsizetype maxTextSize = qsizetype{4} * 1024 * 1024;

void appendNode(QString &text, const QString &path, qsizetype rootLength)
{
    QStringList subdirectories;
    QStringList files;
    const QDir directory(path);
    for (const QFileInfo &entry : directory.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot)) {
        if (entry.isDir())
            subdirectories.append(entry.fileName());
        else
            files.append(entry.fileName());
    }

    text += u"{\"path\":\""_s + path.mid(rootLength + 1) + u'"';
    const qsizetype begin = text.size();
    for (const QString &name : subdirectories) {
        if (text.size() >= maxTextSize)
            break;
        text += text.size() == begin ? u",\"subdirs\": ["_s : u","_s;
        appendNode(text, path + u'/' + name, rootLength);
    }
    if (text.size() != begin)
        text += u']';
    text += u",\"selections\":["_s;
    if (!files.isEmpty())
        text += u'"' + files.join(u"\",\""_s) + u'"';
    text += u"]}"_s;
}

} // namespace

QString zoneTreeText(const QString &root)
{
    QString text;
    appendNode(text, root, root.size());
    return text;
}
