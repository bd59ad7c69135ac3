// The scan of the firmware directories that lie on the data partition, as many as its argument says.

#include "Tasks.h"

#include "firmware/FwUpdateSettings.h"
#include "firmware/NandUpdate.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

QList<NandUpdate *> records(const FwUpdateSettings &settings)
{
    return settings.findChildren<NandUpdate *>(Qt::FindDirectChildrenOnly);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "Usage: ScanBench DIRECTORIES\n");
        return 2;
    }
    const qsizetype count = std::strtol(argv[1], nullptr, 10);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg)
            std::fprintf(stderr, "%s\n", qUtf8Printable(text));
    });

    FwUpdateSettings settings(u"ubifs_1_2"_s, nullptr);
    const auto waitForRecords = [&] {
        while (records(settings).size() < count)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    waitForRecords(); // of the scan at start
    const auto scan = [&] {
        qDeleteAll(records(settings));
        return taskSeconds([&] {
            Q_EMIT settings.scan();
            waitForRecords();
        });
    };
    return serveTasks({{"scan", scan}});
}
