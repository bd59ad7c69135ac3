#pragma once

#include <QString>

#include <optional>

/** @file
 *  The kernel's host name, which the device goes by. */

/** Where the kernel shows it, and takes a new one. */
inline const QString kernelHostnamePath = QStringLiteral("/proc/sys/kernel/hostname");

/** The name of a device that has none. */
inline const QString defaultHostname = QStringLiteral("qmz");

/** Reads it anew. Nothing when the kernel's file can't be opened; an empty text when the kernel has no name. */
[[nodiscard]] std::optional<QString> readKernelHostname();
