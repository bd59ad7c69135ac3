#pragma once

#include "support/QtPrinting.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>

/** @file
 *  What the reference library has written down. */

inline const QString platformLogDir = QStringLiteral("/var/log/qmz");
inline const QString platformLogPath = QStringLiteral("/var/log/qmz/platform.jsonl");
inline const QString olderPlatformLogPath = QStringLiteral("/var/log/qmz/platform.jsonl.1");

/** The lines of the log, in order. Fails the test when one of them is not a JSON object. */
inline QList<QJsonObject> loggedLines(const QString &path = platformLogPath)
{
    QList<QJsonObject> lines;
    const QByteArray content = fileExists(path) ? readFile(path) : QByteArray();
    EXPECT_TRUE(content.isEmpty() || content.endsWith('\n'));
    for (const QByteArray &line : content.split('\n')) {
        if (line.isEmpty())
            continue;
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line, &error);
        EXPECT_TRUE(document.isObject()) << line.left(200).constData() << qPrintable(error.errorString());
        lines.append(document.object());
    }
    return lines;
}

/** The same, each as `Upstart.start["ntp",true]`. */
inline QStringList loggedCalls()
{
    QStringList calls;
    for (const QJsonObject &line : loggedLines()) {
        const QByteArray args = QJsonDocument(line[u"args"].toArray()).toJson(QJsonDocument::Compact);
        calls.append(line[u"call"].toString() + QString::fromUtf8(args));
    }
    return calls;
}
