#pragma once

#include "support/BindMount.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

/** Shell scripts that stand in PATH in front of the device's own tools, or in their very place, and a record of how
 *  they were called.
 *
 *  All is as before when the object goes. */
class FakeTools
{
public:
    FakeTools();
    ~FakeTools();
    Q_DISABLE_COPY_MOVE(FakeTools)

    /** Puts a tool in place.
     *  @param script what it does once its call is recorded; shell text, "exec /bin/rm \"$@\"" say */
    void add(const QString &name, const QByteArray &script = "exit 0\n");
    /** Puts a tool in the place of one that the device has, for those who call it by its path. */
    void addAt(const QString &path, const QByteArray &script = "exit 0\n");
    /** From now on the tools that were added are the only ones to be found. */
    void hideAllOthers();

    /** The calls so far, in order: name and arguments with a blank between. */
    QStringList calls() const;
    void clearCalls();

private:
    QString path(const QString &name) const;

    QTemporaryDir directory;
    std::vector<std::unique_ptr<BindMount>> inPlace; // gone before the directory
    QByteArray previousPath;
};
