#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

/** @file
 *  Short ways to arrange and look at files. They fail the running test when the file system refuses. */

void writeFile(const QString &path, const QByteArray &content);
void writeExecutable(const QString &path, const QByteArray &script);
/** The whole file; a test failure and an empty array when it can't be read. */
QByteArray readFile(const QString &path);
bool fileExists(const QString &path);
/** Removes whatever stands at `path`, directories with all they hold; nothing there is fine. */
void removeAll(const QString &path);
/** Waits, with the event loop running, until `condition` holds, at most 10 seconds. @return whether it holds */
bool waitUntil(const std::function<bool()> &condition);
