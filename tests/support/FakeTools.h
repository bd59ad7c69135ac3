#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/** Shell scripts that stand in PATH in front of the device's own tools, and a record of how they were called.
 *
 *  PATH is as before when the object goes. */
class FakeTools
{
public:
    FakeTools();
    ~FakeTools();
    Q_DISABLE_COPY_MOVE(FakeTools)

    /** Puts a tool in place.
     *  @param script what it does once its call is recorded; shell text, "exec /bin/rm \"$@\"" say */
    void add(const QString &name, const QByteArray &script = "exit 0\n");
    /** From now on the tools that were added are the only ones to be found. */
    void hideAllOthers();

    /** The calls so far, in order: name and arguments with a blank between. */
    QStringList calls() const;
    void clearCalls();

private:
    QString path(const QString &name) const;

    QTemporaryDir directory;
    QByteArray previousPath;
};
