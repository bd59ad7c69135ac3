#pragma once

#include "bootenv/BareboxConfig.h"
#include "support/FakeTools.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

/** A boot environment whose tools are scripts and whose flash is a directory.
 *
 *  The tools work like the real ones until a test puts others in their places. */
class FakeFlash : public testing::Test
{
protected:
    FakeFlash()
    {
        using namespace Qt::StringLiterals;

        removeAll(envPath);
        tools.add(u"rm"_s, "exec /bin/rm \"$@\"\n");
        tools.add(u"flash_eraseall"_s, "/bin/rm -rf " + flash() + "/*\n");
        tools.add(u"bareboxenv"_s,
                  "case $1 in -l) cp " + flash() + R"(/* "$2";; -s) cp "$2"* )" + flash() + ";; esac\n");
    }

    QByteArray flash() const { return QFile::encodeName(flashDirectory.path()); }
    QString flashFile(const QString &name) const { return flashDirectory.filePath(name); }
    QString envFile(const QString &name) const { return envPath + name; }

    /** The names of the stores below an object, sorted. */
    static QStringList storesOf(const QObject &parent)
    {
        QStringList names;
        for (const auto *store : parent.findChildren<BareboxConfig *>())
            names.append(store->objectName());
        names.sort();
        return names;
    }

    const QString envPath = QStringLiteral("/var/run/bareboxenv/");
    const QString removal = QStringLiteral("rm -r -- /var/run/bareboxenv/");
    const QString fetch = QStringLiteral("bareboxenv -l /var/run/bareboxenv/ /dev/mtdblock1");
    const QString erasure = QStringLiteral("flash_eraseall /dev/mtdblock1");
    const QString storage = QStringLiteral("bareboxenv -s /var/run/bareboxenv/ /dev/mtdblock1");

    QTemporaryDir flashDirectory;
    FakeTools tools;
};
