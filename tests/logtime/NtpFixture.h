#pragma once

#include "bootenv/BareboxConfig.h"
#include "fake/FakePlatform.h"
#include "logtime/NtpConfig.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <memory>

/** A device without a time server whose NtpConfig has yet to be made. */
class NtpFixture : public testing::Test
{
protected:
    NtpFixture()
    {
        removeAll(directoryPath);
        removeAll(filePath);
        writeFile(variablesPath, "#!/bin/sh\n");
        resetFakePlatform();
    }
    ~NtpFixture() override { onPlatformCall({}); }

    /** Makes the object from what /etc/variables holds now. */
    void make()
    {
        variables = std::make_unique<BareboxConfig>(nullptr, QStringLiteral("/etc/"), QStringLiteral("variables"));
        ntp = std::make_unique<NtpConfig>(variables.get(), &parent);
    }

    /** As `make`, and forgets the calls that this took. */
    void start()
    {
        make();
        clearPlatformCalls();
    }

    /** What the NTP daemon would use: the lines of its file below the heading, which have to be servers. */
    QStringList servers() const
    {
        const QString text = QString::fromUtf8(readFile(filePath));
        QStringList names;
        for (const QString &line : text.split(u'\n', Qt::SkipEmptyParts).sliced(3)) {
            EXPECT_TRUE(line.startsWith(QStringLiteral("server "))) << qPrintable(line);
            names.append(line.section(u' ', 1, 1));
        }
        return names;
    }

    const QString directoryPath = QStringLiteral("/var/run/ntp");
    const QString filePath = QStringLiteral("/var/run/ntp/ntp.conf");
    const QString variablesPath = QStringLiteral("/etc/variables");
    const QString ownAddress = QStringLiteral("127.0.0.1"); // which stands in for a server
    const QString started = QStringLiteral("Upstart.start(\"ntp\", false)");
    const QString stopped = QStringLiteral("Upstart.stop(\"ntp\", true)");

    QObject parent; // outlives the object, which goes first
    std::unique_ptr<BareboxConfig> variables;
    std::unique_ptr<NtpConfig> ntp;
};
