#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/** @file
 *  The PLC applications' way from a list file, which survives an update, into the runtime's configuration.
 *
 *  The list file holds the runtime's version in its first line and an application's name in each further one. The
 *  configuration has a section "[CmpApp]" with a line "Application.1=name" for each application. Both are handled as
 *  bytes: what is not understood stays as it is. */

/** The content of a list file, in local 8-bit text. */
[[nodiscard]] QByteArray listFileText(const QString &version, const QStringList &applications);

/** Enters the applications of a list file into the runtime's configuration, in place of the ones that it holds.
 *
 *  Of the old entries those numbered 1 to 99 go, each where it is found first. The new ones follow 9 bytes behind the
 *  beginning of "[CmpApp]", that is, behind the line feed of a line without a carriage return.
 *
 *  @param listFile may lack the last line feed; a line counts up to its first NUL
 *  @return the new configuration, shorter or longer than the old; nothing when there is no "[CmpApp]" */
[[nodiscard]] std::optional<QByteArray> withApplications(QByteArray configuration, const QByteArray &listFile);

/** Enters the one application "Application" into the runtime's configuration, for want of a list file: 34 bytes behind
 *  the beginning of "Bootproject.RetainMismatch.Init=1". Nothing else changes.
 *
 *  @return the new configuration; nothing when there is no such entry */
[[nodiscard]] std::optional<QByteArray> withDefaultApplication(QByteArray configuration);
