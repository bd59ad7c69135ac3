// Lays out what packages may have brought, has it made safe, and looks whether anything can still lead out.

#include "FileTree.h"
#include "FuzzTarget.h"

#include "firmware/PackageGuard.h"

#include <qmz/NodekeepGlobals.h>

#include <QFile>
#include <QTemporaryDir>

#include <filesystem>

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

const QTemporaryDir scratch;

bool isBelow(const fs::path &path, const fs::path &top)
{
    return path == top || path.native().starts_with(top.native() + '/');
}

/** Whether a link leads to a place below `top`, be there anything or not. */
bool staysBelow(const fs::path &link, const fs::path &top)
{
    std::error_code error;
    const fs::path target = fs::weakly_canonical(link.parent_path() / fs::read_symlink(link), error);
    return error || isBelow(target, top);
}

bool isHarmlessEntry(const fs::directory_entry &entry, const fs::path &top)
{
    if (entry.is_symlink())
        return staysBelow(entry.path(), top);
    const bool changesUser =
        (entry.status().permissions() & (fs::perms::set_uid | fs::perms::set_gid)) != fs::perms::none;
    return entry.is_directory() || (entry.is_regular_file() && !changesUser);
}

void checkFirmware(const fs::directory_entry &firmware)
{
    const bool isTaken = !firmware.is_symlink() && isHarmless(QDir(QFile::decodeName(firmware.path().c_str())));
    if (!isTaken || !firmware.is_directory())
        return;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(firmware))
        require(isHarmlessEntry(entry, firmware.path()));
}

void checkEntries(const fs::directory_entry &firmware)
{
    require(!firmware.is_symlink());
    if (!firmware.is_directory())
        return;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(firmware))
        require(isHarmlessEntry(entry, firmware.path()));
}

} // namespace

// In the place of the platform's.
const QString qmz::NodekeepGlobals::UPDATE_PATH = scratch.filePath(u"fwupdate"_s);
const QString qmz::NodekeepGlobals::FW_DIRNAME = u"firmware"_s;

void checkInput(QByteArrayView input)
{
    const fs::path place = QFile::encodeName(qmz::NodekeepGlobals::UPDATE_PATH).toStdString();
    fs::create_directory(place);
    PackageGuard guard;
    guard.beforeUnpacking();
    makeFileTree(qmz::NodekeepGlobals::UPDATE_PATH, input);

    for (const fs::directory_entry &firmware : fs::directory_iterator(place))
        checkFirmware(firmware);
    PackageGuard().beforeUnpacking();
    for (const fs::directory_entry &firmware : fs::directory_iterator(place))
        checkEntries(firmware);
    guard.afterUnpacking({});
    for (const fs::directory_entry &firmware : fs::directory_iterator(place))
        require(firmware.path().filename() == "firmware");

    fs::remove_all(place);
}
