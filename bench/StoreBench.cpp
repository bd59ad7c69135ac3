// A store of 10,000 lines, read and saved, beside the floor: the same bytes read, written and synced.

#include "bootenv/BareboxConfig.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int lineCount = 10000;

const QString directory = u"/srv/bench/"_s;
const QString fileName = u"store"_s;

QByteArray storeContent()
{
    QByteArray content = "#!/bin/sh\n";
    for (int line = 1; line < lineCount; ++line) {
        if (line % 10 == 0)
            content += "# what follows belongs together, group " + QByteArray::number(line / 10) + '\n';
        else
            content += "device.setting" + QByteArray::number(line) + "=\"value of setting " + QByteArray::number(line) +
                       "\"\n";
    }
    return content;
}

void prepareStore()
{
    QDir().mkpath(directory);
    QFile file(directory + fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(storeContent()) < 0)
        qFatal("can't prepare the store to measure");
}

void parseAndSave(benchmark::State &state)
{
    prepareStore();
    for ([[maybe_unused]] auto _ : state) {
        BareboxConfig store(nullptr, directory, fileName);
        store.save();
    }
}

void readWriteAndSync(benchmark::State &state)
{
    prepareStore();
    for ([[maybe_unused]] auto _ : state) {
        QFile file(directory + fileName);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("can't read the store to measure");
        const QByteArray content = file.readAll();
        file.close();
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
            qFatal("can't write the store to measure");
        file.flush();
        ::fsync(file.handle());
    }
}

} // namespace

BENCHMARK(readWriteAndSync)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(parseAndSave)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
