#include <qmz/Qmzlog.h>

#include "CallRecord.h"

#include <syslog.h>

#include <cstdarg>

namespace {

int priority(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return LOG_DEBUG;
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    case QtCriticalMsg:
        return LOG_ERR;
    case QtFatalMsg:
        break;
    }
    return LOG_CRIT;
}

} // namespace

namespace qmz {

Qmzlog qmzlog;

void Qmzlog::open(const QString &ident, int facility, int option)
{
    recordCall("Qmzlog.open", {ident, facility, option});

    static QByteArray keptIdent; // syslog keeps the pointer
    keptIdent = ident.toUtf8();
    ::openlog(keptIdent.constData(), option, facility);
}

void Qmzlog::setSyslogLevelWarning()
{
    recordCall("Qmzlog.setSyslogLevelWarning");
    ::setlogmask(LOG_UPTO(LOG_WARNING));
}

void Qmzlog::msg(QtMsgType type, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const QString text = QString::vasprintf(format, args);
    va_end(args);

    recordCall("Qmzlog.msg", {static_cast<int>(type), text});
    ::syslog(priority(type), "%s", qUtf8Printable(text));
}

} // namespace qmz
