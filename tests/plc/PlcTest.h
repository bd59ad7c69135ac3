#pragma once

#include "fake/FakePlatform.h"
#include "plc/FakePlcRuntime.h"
#include "support/FakeTools.h"
#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QDirIterator>
#include <QMap>
#include <QTemporaryDir>

/** A device with a PLC runtime's files. No runtime is on the bus. */
class PlcTest : public testing::Test
{
protected:
    PlcTest()
    {
        using namespace Qt::StringLiterals;

        removeAll(directory);
        removeAll(u"/CODESYSControl"_s);
        EXPECT_TRUE(QDir().mkpath(directory + u"visu"_s) && QDir().mkpath(directory + u"PlcLogic/sub"_s));
        EXPECT_TRUE(QDir().mkdir(u"/CODESYSControl"_s));
        clearPlatformCalls();
    }
    ~PlcTest() override
    {
        removeAll(directory);
        removeAll(QStringLiteral("/CODESYSControl"));
    }

    QString path(const QString &name) const { return directory + name; }
    void write(const QString &name, const QByteArray &content) const { writeFile(path(name), content); }

    /** The files of a map, two applications, and some in the directories that come in whole. */
    void writeRuntimeFiles() const
    {
        using namespace Qt::StringLiterals;

        write(u"SysFileMap.cfg"_s, "[SysFileMap]\n/srv/codesys/recipe.txt=1\n/srv/codesys/One.app=2\n");
        write(u"recipe.txt"_s, "flour\n");
        write(u"One.app"_s, QByteArray(100'000, '\1'));
        write(u"One.crc"_s, "1111");
        write(u"Two.app"_s, "");
        write(u"Two.crc"_s, "2222");
        write(u"visu/page.htm"_s, "<p>");
        write(u"PlcLogic/sub/logic"_s, "if");
        write(u"stranger"_s, "not of the backup");
    }

    /** Every entry below a directory, with a file's content; a directory's is null. */
    static QMap<QString, QByteArray> tree(const QString &top)
    {
        QMap<QString, QByteArray> entries;
        QDirIterator it(top, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString entry = it.next();
            entries[QDir(top).relativeFilePath(entry)] =
                it.fileInfo().isDir() ? QByteArray() : QByteArray("") + readFile(entry);
        }
        return entries;
    }

    const QString directory = QStringLiteral("/srv/codesys/");
    FakeTools tools;
    const QString configuration = QStringLiteral("/CODESYSControl/CODESYSControl.cfg");
};
