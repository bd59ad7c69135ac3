#pragma once

#include <QStringList>

/** What happens to the files of some directories from its construction on, in order: "open /etc/hostname", and as well
 *  "write" for the end of a file's writing and "remove". */
class FileEvents
{
public:
    explicit FileEvents(const QStringList &directories);
    ~FileEvents();
    Q_DISABLE_COPY_MOVE(FileEvents)

    /** Every event so far of one kind, the path alone. */
    QStringList paths(const QString &kind);
    /** The path of the event that follows the last one of the kind `before`, where it is of the kind `kind`; else
     *  null. */
    QString firstAfterLast(const QString &kind, const QString &before);

private:
    void read();

    const int descriptor;
    QStringList directories; // by watch number
    QStringList events;
};
