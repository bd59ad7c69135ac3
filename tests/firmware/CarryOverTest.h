#pragma once

#include "fake/FakePlatform.h"
#include "firmware/UpdateManagerFixture.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

/** A device with all the files that an update carries over, and an empty data partition. */
class CarryOverTest : public UpdateManagerFixture
{
protected:
    struct CarriedFile
    {
        QString name;
        QString livePath;
    };

    CarryOverTest()
    {
        using namespace Qt::StringLiterals;

        clearDataPartition();
        EXPECT_TRUE(QDir().mkpath(u"/etc/network"_s) && QDir().mkpath(u"/etc/ssh"_s));
        for (const CarriedFile &file : files) {
            removeAll(file.livePath);
            writeFile(file.livePath, "live " + file.name.toUtf8());
        }
        tools.add(u"shutdown"_s);
        clearPlatformCalls();
    }
    ~CarryOverTest() override
    {
        clearDataPartition();
        onPlatformCall({});
    }

    static void clearDataPartition()
    {
        for (const char *name : {"nodekeep", "fwupdate", "public", "codesys"})
            removeAll(QStringLiteral("/srv/") + QLatin1String(name));
        removeAll(QStringLiteral("/CODESYSControl"));
    }

    QString storePath(const QString &name) const { return store + u'/' + name; }
    QString livePath(const QString &name) const
    {
        for (const CarriedFile &file : files) {
            if (file.name == name)
                return file.livePath;
        }
        return envFile(name);
    }

    QStringList storePaths(const QStringList &names) const
    {
        QStringList paths;
        for (const QString &name : names)
            paths.append(storePath(name));
        return paths;
    }
    QStringList livePaths(const QStringList &names) const
    {
        QStringList paths;
        for (const QString &name : names)
            paths.append(livePath(name));
        return paths;
    }

    static mode_t permissions(const QString &path)
    {
        struct stat status
        {
        };
        EXPECT_EQ(::stat(qPrintable(path), &status), 0);
        return status.st_mode & 07777;
    }
    static void setPermissions(const QString &path, mode_t mode) { ASSERT_EQ(::chmod(qPrintable(path), mode), 0); }
    static void makeFifo(const QString &path) { ASSERT_EQ(::mkfifo(qPrintable(path), 0600), 0); }

    const QString store = QStringLiteral("/srv/nodekeep");
    // But for "update", which belongs to the boot environment.
    const QList<CarriedFile> files{
        {QStringLiteral("hostname"), QStringLiteral("/etc/hostname")},
        {QStringLiteral("interfaces"), QStringLiteral("/etc/network/interfaces")},
        {QStringLiteral("ssh_host_dsa_key"), QStringLiteral("/etc/ssh/ssh_host_dsa_key")},
        {QStringLiteral("ssh_host_dsa_key.pub"), QStringLiteral("/etc/ssh/ssh_host_dsa_key.pub")},
        {QStringLiteral("ssh_host_rsa_key"), QStringLiteral("/etc/ssh/ssh_host_rsa_key")},
        {QStringLiteral("ssh_host_rsa_key.pub"), QStringLiteral("/etc/ssh/ssh_host_rsa_key.pub")},
        {QStringLiteral("syslog.conf"), QStringLiteral("/etc/syslog.conf")},
        {QStringLiteral("guiLevel1"), QStringLiteral("/etc/guiLevel1")},
        {QStringLiteral("guiLevel2"), QStringLiteral("/etc/guiLevel2")},
        {QStringLiteral("guiLevel3"), QStringLiteral("/etc/guiLevel3")},
        {QStringLiteral("guiSystem"), QStringLiteral("/etc/guiSystem")},
        {QStringLiteral("variables"), QStringLiteral("/etc/variables")},
    };
};
