#include "plc/PlcApplications.h"

#include "base/RegularFile.h"
#include "plc/ApplicationFiles.h"
#include "plc/ApplicationList.h"
#include "plc/PlcRuntime.h"

#include <QFileInfo>

#include <unistd.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Patch = std::function<std::optional<QByteArray>(const QByteArray &configuration)>;

/** @return whether the runtime's configuration could be opened */
bool patchConfiguration(const Patch &patch)
{
    QFile file;
    if (!openRegularFile(file, plcConfigurationPath, QIODevice::ReadWrite))
        return false;

    // Not truncated: behind a text that has become shorter the end of the old one stays.
    const std::optional<QByteArray> patched = patch(file.readAll());
    if (patched && file.seek(0))
        file.write(*patched);
    return true;
}

} // namespace

bool writeApplicationList(const QString &version, const QStringList &applications)
{
    QFile list;
    if (!openRegularFile(list, plcApplicationListPath, QIODevice::ReadWrite))
        return false;
    list.write(listFileText(version, applications));
    return true;
}

bool saveCodesysState()
{
    const std::optional<PlcState> state = askPlcRuntime();
    if (!state)
        return false;

    // The runtime's answer is what counts here.
    writeApplicationList(QString::number(state->version.toInt()), state->applications);
    ::sync();
    return true;
}

bool patchCodesysConfig()
{
    const std::optional<QByteArray> list = readRegularFile(plcApplicationListPath);
    if (!list ||
        !patchConfiguration([&](const QByteArray &configuration) { return withApplications(configuration, *list); }))
        return false;
    ::sync();
    return true;
}

void enterDefaultApplication()
{
    if (QFileInfo(plcDirectory + u"Application.app"_s).isFile())
        patchConfiguration(withDefaultApplication);
}
