#pragma once

#include <qmz/SystemEvent.h>

#include <QByteArrayView>
#include <QList>
#include <QString>

/** An error of the CAN bus, as the event log takes it. */
struct CanBusError
{
    qmz::SystemEvent::CanError code;
    QString text; ///< known to clients with its spelling
};

/** The errors in what a read from a CAN socket has brought, one for each error class in it, in the order of their bits.
 *
 *  A data frame holds none, and neither does an error frame without a known class. What is no frame by its size is one
 *  unspecified error. */
[[nodiscard]] QList<CanBusError> canErrorsIn(QByteArrayView bytes);
