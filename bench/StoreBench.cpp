// The store of a variable file, read, one value changed and saved; and the floor: its bytes read, written and synced.

#include "Tasks.h"

#include "bootenv/BareboxConfig.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

/** Rewrites the file in place, as the store does. */
void copy(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("can't read the store to measure");
    const QByteArray content = file.readAll();
    file.close();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write(content) != content.size())
        qFatal("can't write the store to measure");
    ::fsync(file.handle());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "Usage: StoreBench FILE VARIABLE\n");
        return 2;
    }
    const QFileInfo file(QString::fromLocal8Bit(argv[1]));
    const QString variable = QString::fromLocal8Bit(argv[2]);
    int changes = 0;

    const auto change = [&] {
        // As long as any other one, so that the file keeps its size.
        const QString value = QString::number(++changes).rightJustified(8, u'0');
        return taskSeconds([&] {
            BareboxConfig store(nullptr, file.path() + u'/', file.fileName());
            store.set(variable, value);
            store.save();
        });
    };
    return serveTasks({
        {"change", change},
        {"copy", [&] { return taskSeconds([&] { copy(file.filePath()); }); }},
    });
}
