#pragma once

#include "fake/FakePlatform.h"
#include "support/TestFiles.h"
#include "system/System.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <unistd.h>

#include <memory>

/** A device named "node-1" whose System has yet to be made. */
class SystemFixture : public testing::Test
{
protected:
    SystemFixture()
    {
        setKernelName("node-1");
        removeAll(storedPath);
        writeFile(storedPath, "node-1\n");
        clearPlatformCalls();
    }

    /** Past the kernel's file, so that nobody who watches that hears of it. */
    static void setKernelName(const QByteArray &name)
    {
        ASSERT_EQ(::sethostname(name.constData(), static_cast<size_t>(name.size())), 0);
    }

    void start() { system = std::make_unique<System>(nullptr); }

    const QString storedPath = QStringLiteral("/etc/hostname");

    QTemporaryDir directory;
    std::unique_ptr<System> system;
};
