#pragma once

#include "can/CanInterface.h"
#include "support/FakeTools.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QDir>

#include <memory>

/** A device whose CanInterface has yet to be made. It has no stored settings; the node of the termination is a file. */
class CanFixture : public testing::Test
{
protected:
    CanFixture()
    {
        QDir().mkpath(QStringLiteral("/etc/network"));
        removeAll(storePath);
        removeAll(nodePath);
        writeFile(nodePath, "untouched");
        for (const char *tool : {"/sbin/ifdown", "/sbin/ifconfig", "/sbin/ifup"})
            tools.addAt(QString::fromLatin1(tool));
    }

    void start() { can = std::make_unique<CanInterface>(nullptr); }
    void startWith(const QByteArray &content)
    {
        writeFile(storePath, content);
        start();
    }

    const QString storePath = QStringLiteral("/etc/network/canconfig");
    const QString nodePath = QStringLiteral("/dev/canterm");
    const QStringList portRestarted{QStringLiteral("ifdown can0"), QStringLiteral("ifconfig can0 down"),
                                    QStringLiteral("ifup can0")};

    FakeTools tools;
    std::unique_ptr<CanInterface> can;
};
