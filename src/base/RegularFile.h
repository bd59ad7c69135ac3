#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <optional>

/** @file
 *  The one way in which the daemon opens its own small files: settings, records, kernel values below /proc.
 *
 *  Only regular files count. A directory, FIFO, socket or device in a file's place is treated like a file that can't be
 *  opened, and nothing ever waits on it: a bus service with one thread must not hang because somebody put a FIFO
 *  into /etc. For reading, neither does a file count that is too large to be one of ours. Descriptors are
 *  close-on-exec. */

/** Up to this size a file can be opened for reading. */
inline constexpr qint64 maxFileBytes = qint64{32} * 1024 * 1024;

/** Opens `path` as `file` for reading, for writing with truncation, or for both without.
 *
 *  @param file a closed QFile; the descriptor goes with it
 *  @param mode QIODevice::ReadOnly, QIODevice::WriteOnly (truncates) or QIODevice::ReadWrite (doesn't); the writing
 *              ones create the file when it is missing
 *  @return false when the file can't be opened, is not a regular one or too large to be read; `file` is then closed */
[[nodiscard]] bool openRegularFile(QFile &file, const QString &path, QIODevice::OpenMode mode);

/** The bytes of a whole file, or nothing when it can't be opened or read to its end. An empty file yields an empty
 *  array. */
[[nodiscard]] std::optional<QByteArray> readRegularFile(const QString &path);

/** Replaces a file's content, in place: no temporary file, no renaming, no sync. Creates the file when missing.
 *  @return whether all bytes were taken */
[[nodiscard]] bool writeRegularFile(const QString &path, const QByteArray &content);

/** What stands before the first NUL byte: text files end there, whatever bytes follow. */
[[nodiscard]] QByteArrayView upToNul(QByteArrayView bytes);

/** The text of a file that holds a single value, such as /proc/sys/kernel/hostname: white space taken off both ends,
 *  cut at the first NUL, decoded as local 8-bit text. Nothing when the file can't be opened; an empty text when there
 *  is no value in it. */
[[nodiscard]] std::optional<QString> readValueFile(const QString &path);
