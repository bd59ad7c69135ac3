// The device's settings across a firmware update: saved on the data partition before it, brought back after it.

#include "firmware/FwUpdateSettings.h"

#include "bootenv/BareboxConfig.h"
#include "core/ChildProcess.h"
#include "firmware/CarriedFiles.h"
#include "plc/ApplicationFiles.h"

#include <QDir>
#include <QProcess>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString partition = u"/srv"_s;
const QString storeName = u"nodekeep"_s;
constexpr int noLimitMs = -1;

} // namespace

void FwUpdateSettings::saveToNodekeep()
{
    const QDir srv(partition);
    if (!srv.exists())
        return;
    if (!srv.exists(storeName))
        srv.mkdir(storeName);

    for (const CarriedFile &file : carriedFiles(envPath))
        copyFile(file.live, file.stored);
    saveCodesysState();
    ::sync();
}

bool FwUpdateSettings::restoreFromNodekeep()
{
    QDir store(partition);
    if (!store.exists() || !store.cd(storeName) || !store.exists(u"update"_s))
        return false;
    updateFailed = true;

    linkPublicFiles(BareboxConfig(this, store.absolutePath() + u'/', u"update"_s).get(u"NAND_UPDATE"_s));

    const QList<CarriedFile> files = carriedFiles(envPath);
    for (const CarriedFile &file : inRestoreOrder(files))
        copyFile(file.stored, file.live);
    for (const CarriedFile &file : inRemovalOrder(files))
        QFile::remove(file.stored);

    makePlcDirectories();
    if (!patchCodesysConfig())
        addDefaultPlcApplication();
    ::sync();
    applyInterfacesToConnman();
    return true;
}

void FwUpdateSettings::linkPublicFiles(const QString &firmware)
{
    if (firmware.isEmpty()) {
        qDebug("no nand update");
        return;
    }
    // Links, not copies: the partition holds each file once. A file that is there already stays.
    const QString command = u"cp -dnRl /srv/fwupdate/"_s + firmware + u"/public/* /srv/public"_s;
    auto *const shell = new QProcess(this);
    runTool(*shell, u"/bin/sh"_s, {u"-c"_s, command}, noLimitMs);
    delete shell;
}
