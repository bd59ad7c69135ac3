#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <ostream>
#include <span>

/** @file
 *  A platform that does nothing and remembers what it was asked to do, for programs that link QMZFake in place of the
 *  platform library. Its values are those of the reference library. Main thread only. */

/** One call of a platform operation. */
struct PlatformCall
{
    QString name;      ///< "Class.operation", without the namespace
    QVariantList args; ///< in order, enumerations as int; the text of a log line is one argument, filled in

    bool operator==(const PlatformCall &) const = default;
};

/** `SystemEvent.firmwareUpdate(0, "/")`: texts stand in quotes, as they are. */
[[nodiscard]] QString toText(const PlatformCall &call);
void PrintTo(const PlatformCall &call, std::ostream *out);

/** All calls since the last clearPlatformCalls(), in order. Reading a value is none. */
[[nodiscard]] QList<PlatformCall> platformCalls();

/** The same, each as toText() tells it, for short comparisons. */
[[nodiscard]] QStringList platformCallTexts();

void clearPlatformCalls();

/** Has `observer` called at each call from now on, after the call is listed: for a look at what the code under test had
 *  done by then. An empty function ends it. */
void onPlatformCall(const std::function<void(const PlatformCall &)> &observer);

// What the platform is like; both are false at first.
void setHasCodesys(bool hasCodesys);
void setHasObjectDictionary(bool hasDictionary);

/** The bytes behind qmz::globAcc, whether it is attached or not; zero at first. */
[[nodiscard]] std::span<quint8> fakeSharedArea();

/** Makes all that the above can change as it was at first. */
void resetFakePlatform();
