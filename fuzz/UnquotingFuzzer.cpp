// Reads a store from its file and takes every value without its quotes; then gives the store the values in quotes and
// has it saved and read anew: they have to be the same.

#include "FuzzTarget.h"

#include "base/RegularFile.h"
#include "bootenv/BareboxConfig.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

/** Whether a line that holds the name reads back so. */
bool isKept(const QString &name)
{
    return !name.startsWith(u'#') && !name.startsWith(QChar::ByteOrderMark);
}

void checkUnquoted(const QString &value, const QString &unquoted)
{
    const bool isQuoted = value.startsWith(u'"') && value.endsWith(u'"');
    require(isQuoted ? value == u'"' + unquoted + u'"' || value == u"\""_s : value == unquoted);
}

} // namespace

void checkInput(QByteArrayView input)
{
    static const QTemporaryDir directory;
    const QString name = u"store"_s;
    require(writeRegularFile(directory.filePath(name), input.toByteArray()));

    BareboxConfig store(nullptr, directory.path(), name);
    const QVariantMap read = store.getAll();
    for (auto variable = read.begin(); variable != read.end(); ++variable) {
        require(store.exists(variable.key()) && store.get(variable.key()) == *variable);
        checkUnquoted(variable->toString(), store.getTrimmed(variable.key()));
        store.set(variable.key(), u'"' + variable->toString() + u'"');
    }
    store.save();

    const BareboxConfig again(nullptr, directory.path(), name);
    for (auto variable = read.begin(); variable != read.end(); ++variable)
        require(!isKept(variable.key()) || again.getTrimmed(variable.key()) == variable->toString());
}
