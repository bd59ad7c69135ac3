// The scan of 1,000 complete firmware directories, beside the floor: find over them and reading their control files.

#include "firmware/FwUpdateSettings.h"
#include "firmware/NandUpdate.h"

#include <qmz/NodekeepGlobals.h>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

constexpr int firmwareCount = 1000;

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("can't prepare the firmware to measure");
}

void prepareFirmware()
{
    for (int number = 0; number < firmwareCount; ++number) {
        const QString directory = qmz::NodekeepGlobals::UPDATE_PATH + u"/fwupdate"_s + QString::number(number);
        QDir().mkpath(directory);
        for (const QString &name : {u"linuximage"_s, u"linuximage.md5"_s, u"root.ubi"_s, u"root.ubi.md5"_s})
            writeFile(directory + u'/' + name, "image\n");
        writeFile(directory + u"/control"_s, "#!/bin/sh\nVERSION=\"4." + QByteArray::number(number) +
                                                 "\"\nRELEASENAME=\"bench\"\nSVNVERSION=11411\n"
                                                 "MIN_UPDATER_VERSION=3\nDATE=\"2026-11-21\"\n");
    }
}

QList<NandUpdate *> records(const FwUpdateSettings &settings)
{
    return settings.findChildren<NandUpdate *>(Qt::FindDirectChildrenOnly);
}

void waitForRecords(const FwUpdateSettings &settings)
{
    while (records(settings).size() < firmwareCount)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void scan(benchmark::State &state)
{
    FwUpdateSettings settings(u"ubifs_1_2"_s, nullptr);
    waitForRecords(settings); // of the scan at start
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        qDeleteAll(records(settings));
        state.ResumeTiming();

        Q_EMIT settings.scan();
        waitForRecords(settings);
    }
}

void findAndReadControlFiles(benchmark::State &state)
{
    const QStringList command{u"-c"_s, u"find /srv/fwupdate >/dev/null && cat /srv/fwupdate/*/control >/dev/null"_s};
    for ([[maybe_unused]] auto _ : state) {
        if (QProcess::execute(u"sh"_s, command) != 0) {
            state.SkipWithError("find or cat has failed");
            break;
        }
    }
}

} // namespace

BENCHMARK(findAndReadControlFiles)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(scan)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg)
            fprintf(stderr, "%s\n", qUtf8Printable(text));
    });
    prepareFirmware();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
