#include "support/FakeTools.h"

#include "support/TestFiles.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

FakeTools::FakeTools() : previousPath(qgetenv("PATH"))
{
    qputenv("PATH", QFile::encodeName(directory.path()) + ':' + previousPath);
    clearCalls();
}

FakeTools::~FakeTools()
{
    qputenv("PATH", previousPath);
}

void FakeTools::add(const QString &name, const QByteArray &script)
{
    const QByteArray record = "echo \"" + name.toUtf8() + " $*\" >>" + QFile::encodeName(path(u"calls"_s)) + '\n';
    writeExecutable(path(name), "#!/bin/sh\n" + record + script);
}

void FakeTools::addAt(const QString &toolPath, const QByteArray &script)
{
    const QString name = QFileInfo(toolPath).fileName();
    add(name, script);
    inPlace.push_back(std::make_unique<BindMount>(path(name), toolPath));
}

void FakeTools::hideAllOthers()
{
    qputenv("PATH", QFile::encodeName(directory.path()));
}

QStringList FakeTools::calls() const
{
    return QString::fromUtf8(readFile(path(u"calls"_s))).split(u'\n', Qt::SkipEmptyParts);
}

void FakeTools::clearCalls()
{
    writeFile(path(u"calls"_s), {});
}

QString FakeTools::path(const QString &name) const
{
    return directory.filePath(name);
}
