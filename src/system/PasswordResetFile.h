#pragma once

#include <QByteArray>

class QIODevice;

/** Which device a reset file is made for, as it tells in lines of its text. A value that is missing is empty. */
struct PasswordResetFile
{
    QByteArray hostname; ///< of the last line "hostname=..." ahead of the Ethernet address
    QByteArray mac;      ///< of the first line "mac=...", behind which nothing is read

    /** Reads the lines of a text; whatever else stands there, signed or not, is skipped.
     *  A line of more than 256 bytes counts as several: each piece of that length stands for itself. */
    [[nodiscard]] static PasswordResetFile read(QIODevice &text);
};
