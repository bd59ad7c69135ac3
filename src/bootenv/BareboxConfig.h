#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/** A variable file in memory, and on the bus below its parent under the file's name.
 *
 *  The file's content is read once, at construction; nothing reads it again. Changes stay in memory until `save`, and
 *  a store that is destroyed takes its unsaved changes with it. Comments and variables keep the order of the file; what
 *  is neither (blank lines, text without "=") is gone at the next save. A variable can't be removed, only overwritten.
 *  Of a name that stands several times in a file, the first place and the last value count.
 *
 *  Values are kept as they stand in the file, quotes included: `get` gives them so, `getTrimmed` without one pair of
 *  double quotes. Nothing is checked: a name with "=" or a value with a line feed is written as it is and reads back
 *  otherwise. A file that can't be read makes a store that holds nothing but the line "#!/bin/sh"; one that can't be
 *  written stays as it was. Neither is reported to the caller. */
class BareboxConfig : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.BareboxConfig")

public:
    /** @param directory absolute path of the file's directory
     *  @param fileName  name of the file in it, which becomes the object name */
    BareboxConfig(QObject *parent, const QString &directory, const QString &fileName);

public Q_SLOTS:
    /** Changes a variable in memory. A new one goes behind everything else; a known one keeps its place. The variable
     *  with the empty name keeps its first value. Nothing changes where all of them would take more than 31 MiB in an
     *  answer. */
    void set(const QString &name, const QString &value);
    /** `set`, then `save`. */
    void syncSet(const QString &name, const QString &value);
    /** @return the value as stored; null for an unknown name */
    QString get(const QString &name) const;
    /** @return the value without outer white space and one pair of double quotes; null for an unknown name */
    QString getTrimmed(const QString &name) const;
    bool exists(const QString &name) const;
    /** @return all names, in no particular order */
    QStringList variableList() const;
    /** @return every name with its value as stored, a string */
    QVariantMap getAll() const;
    /** Rewrites the file in place and waits until it is on the disk. The file is truncated first: a power cut here
     *  can leave a short one. */
    void save();

private:
    void parse();

    QString filePath;
    QByteArray rawContent; // as read at construction
    QHash<QString, QString> variables;
    // A line slot fixes a line's place in the file; slots may stay empty. Every name in `variables` has exactly one.
    QHash<int, QString> commentLines;
    QHash<int, QString> variableLines;
    int lineCount = 0;  // next free line slot
    qsizetype size = 0; // in an answer
};
