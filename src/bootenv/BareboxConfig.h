#pragma once

#include "bootenv/VariableFile.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/** A variable file, on the bus below its parent under the file's name.
 *
 *  The file's content is read once, at construction; nothing reads it again. Changes stay in memory until `save`, and
 *  a store that is destroyed takes its unsaved changes with it. A variable can't be removed, only overwritten.
 *
 *  Values are kept as they stand in the file, quotes included: `get` gives them so, `getTrimmed` without one pair of
 *  double quotes. A file that can't be read makes a store that holds nothing but the line "#!/bin/sh"; one that can't
 *  be written stays as it was. Neither is reported to the caller. */
class BareboxConfig : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.BareboxConfig")

public:
    /** @param directory absolute path of the file's directory
     *  @param fileName  name of the file in it, which becomes the object name */
    BareboxConfig(QObject *parent, const QString &directory, const QString &fileName);

public Q_SLOTS:
    /** Changes a variable in memory, as `VariableFile::set` says. */
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
    QString filePath;
    VariableFile variables;
};
