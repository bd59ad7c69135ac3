// Reads a variable file, writes it anew and reads that: it has to hold the same.

#include "FuzzTarget.h"

#include "bootenv/VariableFile.h"

#include <algorithm>

namespace {

/** Whether the written line reads as another one, because its name lost the blank in front of it: then it begins a
 *  comment, or with a byte order mark, which is skipped. */
bool readsOtherwise(const QString &name)
{
    return name.startsWith(u'#') || name.startsWith(QChar::ByteOrderMark);
}

} // namespace

void checkInput(QByteArrayView input)
{
    const VariableFile file(input.toByteArray());
    const QStringList names = file.names();
    const QByteArray written = file.toBytes();
    const VariableFile again(written);

    for (const QString &name : names) {
        require(!name.isEmpty() && file.contains(name) && names.count(name) == 1);
        require(unquotedValue(file.value(name)).size() <= file.value(name).size());
    }
    if (std::any_of(names.begin(), names.end(), readsOtherwise))
        return;
    require(again.names() == names && again.toBytes() == written);
    for (const QString &name : names)
        require(again.value(name) == file.value(name));
}
