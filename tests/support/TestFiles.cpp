#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path + QLatin1Char(' ') + file.errorString());
    ASSERT_EQ(file.write(content), content.size());
}

void writeExecutable(const QString &path, const QByteArray &script)
{
    writeFile(path, script);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path + QLatin1Char(' ') + file.errorString());
    return file.isOpen() ? file.readAll() : QByteArray();
}

bool fileExists(const QString &path)
{
    return QFileInfo::exists(path);
}

void removeAll(const QString &path)
{
    if (QFileInfo info(path); info.isDir() && !info.isSymLink())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

bool waitUntil(const std::function<bool()> &condition)
{
    return QTest::qWaitFor(condition, 10000);
}
