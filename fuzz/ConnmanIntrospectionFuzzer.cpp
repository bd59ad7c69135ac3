// Looks for the port's service in an introspection: it has to be a service of connman's whose name stands there.

#include "FuzzTarget.h"

#include "network/ConnmanReply.h"

using namespace Qt::StringLiterals;

namespace {

const QString services = u"/net/connman/service/"_s;

/** XML tells a character by entities, too, and any white space in a name is a blank. */
bool canStandIn(const QString &name, const QString &xml)
{
    return xml.simplified().contains(name.simplified()) || xml.contains(u'&');
}

} // namespace

void checkInput(QByteArrayView input)
{
    const QString xml = QString::fromUtf8(input);
    const QString path = ethernetServicePath(toStringOrNull(xml));

    require(path.isNull() || path.startsWith(services + u"ethernet"_s));
    require(path.isNull() || canStandIn(path.sliced(services.size()), xml));
    require(toStringOrNull(xml.toUtf8()).isNull() && toMap(xml).isEmpty());
}
