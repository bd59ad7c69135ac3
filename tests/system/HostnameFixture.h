#pragma once

#include "fake/FakePlatform.h"
#include "support/TestFiles.h"
#include "system/Hostname.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <unistd.h>

#include <memory>

/** A device named "node-1" whose host name nobody looks after yet. */
class HostnameFixture : public testing::Test
{
protected:
    HostnameFixture()
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

    /** As at the start of the daemon. */
    void start()
    {
        hostname = std::make_unique<Hostname>();
        hostname->readInitialHostname();
        hostname->watchKernelHostname();
    }

    const QString storedPath = QStringLiteral("/etc/hostname");
    const QString kernelPath = QStringLiteral("/proc/sys/kernel/hostname");
    const QString kernelDirectory = QStringLiteral("/proc/sys/kernel");

    QTemporaryDir directory;
    std::unique_ptr<Hostname> hostname;
};
