#pragma once

#include <QString>

/** Longest text, in characters, that the daemon takes where nothing else bounds it. A message on the system bus carries
 *  32 MiB, and the bus cuts off whoever sends a longer one: what comes from outside has to fit into one answer together
 *  with all else that the answer tells. */
inline constexpr qsizetype maxBusText = qsizetype{1024} * 1024;

/** @return the text, empty where it is longer than maxBusText */
[[nodiscard]] inline QString boundedText(const QString &text)
{
    return text.size() > maxBusText ? QString() : text;
}
