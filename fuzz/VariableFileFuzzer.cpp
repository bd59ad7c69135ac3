// Reads the lines of a variable file, writes each anew and reads that: it has to hold the same.

#include "FuzzTarget.h"

#include "bootenv/VariableFile.h"

namespace {

/** Whether the written line reads as another one, because its name lost the blank in front of it: then it begins a
 *  comment, or with a byte order mark, which is skipped. */
bool readsOtherwise(const VariableFileLine &line)
{
    return line.name.startsWith(u'#') || line.name.startsWith(QChar::ByteOrderMark);
}

void checkLine(QByteArrayView bytes)
{
    const VariableFileLine line = parseVariableFileLine(bytes);
    require(line.comment.isNull() || line.name.isNull());
    require(line.comment.isNull() || line.comment.startsWith(u'#'));
    require(line.name.isNull() || !line.name.isEmpty());
    require(unquotedValue(line.value).size() <= line.value.size());

    if (!line.comment.isNull()) {
        const QByteArray written = commentLine(line.comment);
        require(commentLine(parseVariableFileLine(written).comment) == written);
    } else if (!line.name.isNull() && !readsOtherwise(line)) {
        const VariableFileLine again = parseVariableFileLine(variableLine(line.name, line.value));
        require(again.comment.isNull() && again.name == line.name && again.value == line.value);
    }
}

} // namespace

void checkInput(QByteArrayView input)
{
    for (qsizetype begin = 0; begin <= input.size();) {
        const qsizetype lineFeed = input.indexOf('\n', begin);
        const qsizetype end = lineFeed < 0 ? input.size() : lineFeed;
        checkLine(input.sliced(begin, end - begin));
        begin = end + 1;
    }
}
