// Reads a reset file: what it names has to stand in it, free of outer white space.

#include "FuzzTarget.h"

#include "system/PasswordResetFile.h"

#include <QBuffer>

namespace {

constexpr qsizetype maxLineBytes = 256;

void checkValue(QByteArrayView input, const QByteArray &key, const QByteArray &value)
{
    require(value.trimmed() == value && !value.contains('\n'));
    require(key.size() + value.size() <= maxLineBytes);
    require(value.isEmpty() || (input.contains(key) && input.contains(value)));
}

} // namespace

void checkInput(QByteArrayView input)
{
    QByteArray bytes = input.toByteArray();
    QBuffer text(&bytes);
    require(text.open(QIODevice::ReadOnly));

    const PasswordResetFile made = PasswordResetFile::read(text);
    checkValue(input, "hostname=", made.hostname);
    checkValue(input, "mac=", made.mac);
}
