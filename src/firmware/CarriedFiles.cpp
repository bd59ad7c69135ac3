#include "firmware/CarriedFiles.h"

#include "core/RegularFile.h"

#include <qmz/NodekeepGlobals.h>

#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

struct Row
{
    QString directory;
    QString name;
    int restored;
    int removed;
};

} // namespace

QList<CarriedFile> carriedFiles(const QString &envPath)
{
    const QString etc = u"/etc/"_s;
    const QString ssh = u"/etc/ssh/"_s;
    const Row rows[] = {
        {envPath, u"update"_s, 0, 7},
        {etc, u"hostname"_s, 1, 1},
        {u"/etc/network/"_s, u"interfaces"_s, 6, 6},
        {ssh, u"ssh_host_dsa_key"_s, 2, 2},
        {ssh, u"ssh_host_dsa_key.pub"_s, 3, 3},
        {ssh, u"ssh_host_rsa_key"_s, 4, 4},
        {ssh, u"ssh_host_rsa_key.pub"_s, 5, 5},
        {etc, u"syslog.conf"_s, 7, 8},
        {etc, u"guiLevel1"_s, 9, 9},
        {etc, u"guiLevel2"_s, 10, 10},
        {etc, u"guiLevel3"_s, 11, 11},
        {etc, u"guiSystem"_s, 12, 12},
        {etc, qmz::NodekeepGlobals::VARIABLES, 8, 13},
    };
    QList<CarriedFile> files;
    for (const Row &row : rows)
        files << CarriedFile{u"/srv/nodekeep/"_s + row.name, row.directory + row.name, row.restored, row.removed};
    return files;
}

QList<CarriedFile> inRestoreOrder(QList<CarriedFile> files)
{
    files.removeIf([](const CarriedFile &file) { return file.restored == 0; });
    std::ranges::sort(files, {}, &CarriedFile::restored);
    return files;
}

QList<CarriedFile> inRemovalOrder(QList<CarriedFile> files)
{
    std::ranges::sort(files, {}, &CarriedFile::removed);
    return files;
}

bool copyFile(const QString &source, const QString &destination)
{
    constexpr qint64 blockSize = 4096;

    if (!QFileInfo(source).isFile())
        return false;
    QFile from;
    QFile to;
    if (openRegularFile(from, source, QIODevice::ReadOnly) && openRegularFile(to, destination, QIODevice::WriteOnly)) {
        while (!from.atEnd()) {
            const QByteArray block = from.read(blockSize);
            if (block.isEmpty()) // a read error
                break;
            to.write(block);
        }
    }
    to.close();
    QFile::setPermissions(destination, QFile::permissions(source));
    return true;
}
