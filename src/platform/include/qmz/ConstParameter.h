#pragma once

#include <qmz/Export.h>

#include <QString>

namespace qmz {

/** The parameter domains of the device. */
class QMZ_EXPORT ConstParameter
{
public:
    /** Index of the domain that the daemon's objects belong to. */
    static const int IDX_SYSTEM;

    /** The name of a domain, as FactoryManager takes it.
     *  @return an empty text for an index that no domain has */
    static QString domainForIdx(int index);
};

} // namespace qmz
