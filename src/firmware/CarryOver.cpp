#include "firmware/CarryOver.h"

#include "base/ChildProcess.h"
#include "base/RegularFile.h"
#include "bootenv/BareboxConfig.h"
#include "network/RestoredAddress.h"
#include "plc/ApplicationFiles.h"
#include "plc/PlcApplications.h"

#include <qmz/NodekeepGlobals.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <unistd.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

const QString dataPartition = u"/srv"_s;
const QString storeName = u"nodekeep"_s;
const QString store = u"/srv/nodekeep/"_s;
const QString marker = u"update"_s; // in the boot environment and, until the settings are restored, in the store

constexpr qint64 blockSize = 4096;
constexpr int never = 0;

// What Qt says of this process, which is root and may do all; it is no property of a file.
constexpr QFile::Permissions allowedToUs = QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;

/** A file that is carried over, under its own name in the store. */
struct CarriedFile
{
    QStringView name;      // null for the device variables, whose name is the platform's
    QStringView directory; // null for the boot environment
    // Its place in the order of each step.
    int saved;
    int restored;
    int removed;
};

constexpr std::array<CarriedFile, 13> carriedFiles{{
    {u"update", {}, 1, never, 7},
    {u"hostname", u"/etc/", 2, 1, 1},
    {u"interfaces", u"/etc/network/", 3, 6, 6},
    {u"ssh_host_dsa_key", u"/etc/ssh/", 4, 2, 2},
    {u"ssh_host_dsa_key.pub", u"/etc/ssh/", 5, 3, 3},
    {u"ssh_host_rsa_key", u"/etc/ssh/", 6, 4, 4},
    {u"ssh_host_rsa_key.pub", u"/etc/ssh/", 7, 5, 5},
    {u"syslog.conf", u"/etc/", 8, 7, 8},
    {u"guiLevel1", u"/etc/", 9, 9, 9},
    {u"guiLevel2", u"/etc/", 10, 10, 10},
    {u"guiLevel3", u"/etc/", 11, 11, 11},
    {u"guiSystem", u"/etc/", 12, 12, 12},
    {{}, u"/etc/", 13, 8, 13},
}};

/** The files of a step, in its order. */
QList<CarriedFile> filesInOrder(int CarriedFile::*place)
{
    QList<CarriedFile> files;
    std::ranges::copy_if(carriedFiles, std::back_inserter(files),
                         [&](const auto &file) { return file.*place != never; });
    std::ranges::sort(files, {}, place);
    return files;
}

QString nameOf(const CarriedFile &file)
{
    return file.name.isNull() ? qmz::NodekeepGlobals::VARIABLES : file.name.toString();
}

QString storePath(const CarriedFile &file)
{
    return store + nameOf(file);
}

QString livePath(const CarriedFile &file, const QString &envPath)
{
    return (file.directory.isNull() ? envPath : file.directory.toString()) + nameOf(file);
}

/** Copies a file with its permissions. Nothing is touched when there is none. */
void copyFile(const QString &source, const QString &destination)
{
    if (!QFileInfo(source).isFile())
        return;

    QFile from;
    QFile to;
    if (openRegularFile(from, source, QIODevice::ReadOnly) && openRegularFile(to, destination, QIODevice::WriteOnly)) {
        for (QByteArray block = from.read(blockSize); !block.isEmpty(); block = from.read(blockSize))
            to.write(block);
    }
    to.close();
    QFile::setPermissions(destination, QFile::permissions(source) & ~allowedToUs);
}

void linkPublicFiles()
{
    const QString firmware = BareboxConfig(nullptr, store, marker).get(u"NAND_UPDATE"_s);
    if (firmware.isEmpty()) {
        qDebug("no nand update");
        return;
    }
    // The shell is there for the "*", and must find nothing else of its own in the name, which anybody may have given
    // to a directory. Hard links: the two trees share their data on the partition.
    static const QRegularExpression harmless(QRegularExpression::anchoredPattern(u"[A-Za-z0-9._+-]+"_s));
    if (!harmless.match(firmware).hasMatch()) {
        qWarning().noquote() << "no public files are linked of" << firmware;
        return;
    }
    QProcess shell;
    runTool(shell, u"/bin/sh"_s, {u"-c"_s, u"cp -dnRl /srv/fwupdate/"_s + firmware + u"/public/* /srv/public"_s},
            noLimitMs);
}

} // namespace

void saveToNodekeep(const QString &envPath)
{
    const QDir partition(dataPartition);
    if (!partition.exists())
        return;
    if (!partition.exists(storeName))
        partition.mkdir(storeName);

    // What the device doesn't have is missing from the store, or stays there as an earlier update left it.
    for (const CarriedFile &file : filesInOrder(&CarriedFile::saved))
        copyFile(livePath(file, envPath), storePath(file));
    saveCodesysState();
    ::sync();
}

bool restoreFromNodekeep(const QString &envPath)
{
    if (!QFileInfo::exists(store + marker))
        return false;

    linkPublicFiles();
    for (const CarriedFile &file : filesInOrder(&CarriedFile::restored))
        copyFile(storePath(file), livePath(file, envPath));
    for (const CarriedFile &file : filesInOrder(&CarriedFile::removed))
        QFile::remove(storePath(file));

    makePlcDirectories();
    if (!patchCodesysConfig())
        enterDefaultApplication();
    ::sync();
    applyInterfacesToConnman();
    return true;
}
