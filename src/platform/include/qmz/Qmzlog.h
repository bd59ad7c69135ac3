#pragma once

#include <qmz/Export.h>

#include <QString>
#include <QtGlobal>

namespace qmz {

/** The device's log. There is one instance, qmz::qmzlog. */
class QMZ_EXPORT Qmzlog
{
public:
    /** Opens the log, once, early in the start-up.
     *
     *  @param ident the name that each line carries
     *  @param facility one of syslog's own numbers, such as LOG_LOCAL5
     *  @param option syslog's own options, combined by "or"; 0 for none */
    void open(const QString &ident, int facility, int option);

    /** From now on only warnings and what is worse are logged. */
    void setSyslogLevelWarning();

    /** Logs one line if its type is severe enough.
     *
     *  @param type the severity
     *  @param format as for printf, with its arguments after it */
    void msg(QtMsgType type, const char *format, ...) __attribute__((format(printf, 3, 4)));
};

extern QMZ_EXPORT Qmzlog qmzlog;

} // namespace qmz
