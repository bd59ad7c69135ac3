#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <span>

/** @file
 *  A platform that does nothing and remembers what it was asked to do. Main thread only. */

struct PlatformCall
{
    QString name; ///< "Class.operation", without the namespace
    QVariantList args;
};

/** All calls since the last clearPlatformCalls(), in order. */
[[nodiscard]] QList<PlatformCall> platformCalls();

/** The same as texts, such as `SystemEvent.reboot("/")`, for short comparisons. */
[[nodiscard]] QStringList platformCallTexts();

void clearPlatformCalls();

// What the platform is like; both are false at first.
void setHasCodesys(bool hasCodesys);
void setHasObjectDictionary(bool hasDictionary);

/** The bytes behind qmz::globAcc, whether it is attached or not. */
[[nodiscard]] std::span<quint8> fakeSharedArea();
