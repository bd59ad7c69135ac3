// Has a tree of zones told whose names are the input's lines: JSON, but where a name would need to be escaped, and no
// longer than an answer may be.

#include "FileTree.h"
#include "FuzzTarget.h"

#include "logtime/ZoneTree.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxTextSize = qsizetype{5} * 1024 * 1024;

/** Links are left to the tests: a few that lead back up make a tree of Megabytes. */
bool hasLinks(QByteArrayView lines)
{
    return lines.contains(" -> ");
}

bool needsEscapes(QByteArrayView lines)
{
    return std::any_of(lines.begin(), lines.end(), [](char byte) {
        return byte == '"' || byte == '\\' || (byte < ' ' && byte >= 0 && byte != '\n');
    });
}

} // namespace

void checkInput(QByteArrayView input)
{
    if (hasLinks(input))
        return;
    const QTemporaryDir root;
    makeFileTree(root.path(), input);

    const QString text = zoneTreeText(root.path());

    require(text.size() <= maxTextSize && text.startsWith(R"({"path":"")"_L1));
    if (needsEscapes(input))
        return;
    const QJsonDocument tree = QJsonDocument::fromJson(text.toUtf8());
    require(tree.isObject() && tree.object()[u"selections"_s].isArray());
    require(tree.object()[u"subdirs"_s].toArray().size() ==
            QDir(root.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}
