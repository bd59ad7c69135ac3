#pragma once

#include <QStringList>
#include <QVariant>

#include <optional>

/** What the PLC runtime tells of itself. */
struct PlcState
{
    QStringList applications; ///< names, without an extension
    QVariant version;         ///< a text, a number or a truth value, whichever the runtime sends
};

/** Asks the PLC runtime on the system bus, service "com.ozt.codesys", for its applications and its version.
 *
 *  Blocks until the runtime has answered both calls, up to the bus's default time limit for each.
 *
 *  @return nothing when a call ends in an error or its answer is of another type */
[[nodiscard]] std::optional<PlcState> askPlcRuntime();
