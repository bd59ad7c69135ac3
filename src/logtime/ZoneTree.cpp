#include "logtime/ZoneTree.h"

#include <QDir>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

void appendNode(QString &text, const QString &path, qsizetype rootLength)
{
    QStringList subdirectories;
    QStringList files;
    const QDir directory(path);
    for (const QFileInfo &entry : directory.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot))
        (entry.isDir() ? subdirectories : files).append(entry.fileName());

    text += u"{\"path\":\""_s + path.mid(rootLength + 1) + u'"';
    if (!subdirectories.isEmpty()) {
        text += u",\"subdirs\": ["_s;
        for (const QString &name : subdirectories) {
            appendNode(text, path + u'/' + name, rootLength);
            text += u',';
        }
        text.back() = u']';
    }
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
