#pragma once

#include <QByteArray>
#include <QString>

/** @file
 *  The text of /etc/syslog.conf. Here that is no list of log rules: it holds three shell-style variables, each an
 *  option of the log daemon, which the init job puts on its command line:
 *
 *      SIZE="-s 200"
 *      REMOTE="-R loghost:514"
 *      LOCAL=-L */

/** What the log daemon is told. The defaults are those of a device without the file. */
struct SyslogSettings
{
    bool logLocal = true;
    QString remoteTarget; ///< as the log daemon's option takes it; empty for none
    int logSizeKb = 200;  ///< in kilobytes

    bool operator==(const SyslogSettings &) const = default;
};

/** Reads the settings; what the text does not tell has its default.
 *
 *  A line counts when it is no comment ("#" in its first column) and has exactly one "=". Its name only has to begin
 *  with that of a setting: "SIZE_KB" is a size. Of several lines the last one counts, but local logging that is once
 *  switched off, by an empty value, stays off. A size that is no number is 0, and a target of more than 1 MiB is none.
 *
 *  @param text any bytes */
[[nodiscard]] SyslogSettings parseSyslogFile(const QByteArray &text);

/** The file for these settings, in ASCII: any other character becomes "?". Nothing is checked or quoted: with a double
 *  quote or "=" in the target, the text reads back otherwise. */
[[nodiscard]] QByteArray syslogFile(const SyslogSettings &settings);
