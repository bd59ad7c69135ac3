#include "fake/FakePlatform.h"

#include <CallRecord.h>
#include <qmz/GenGlobAccess.h>
#include <qmz/NodekeepGlobals.h>
#include <qmz/OdAccess.h>
#include <qmz/Qmzlog.h>
#include <qmz/SysCfgAccess.h>
#include <qmz/Upstart.h>

#include <array>
#include <cstdarg>

using namespace Qt::StringLiterals;

namespace {

struct Platform
{
    QList<PlatformCall> calls;
    std::function<void(const PlatformCall &)> observer;
    bool hasCodesys = false;
    bool hasDictionary = false;
    std::array<quint8, 8192> sharedArea{};
};

Platform &platform()
{
    static Platform instance;
    return instance;
}

QString argumentText(const QVariant &argument)
{
    if (argument.typeId() == QMetaType::QString)
        return u'"' + argument.toString() + u'"';
    return argument.toString();
}

} // namespace

void recordCall(const char *call, const QVariantList &args)
{
    const PlatformCall made{QString::fromLatin1(call), args};
    platform().calls.append(made);
    if (platform().observer)
        platform().observer(made);
}

QString toText(const PlatformCall &call)
{
    QStringList arguments;
    for (const QVariant &argument : call.args)
        arguments.append(argumentText(argument));
    return call.name + u'(' + arguments.join(u", "_s) + u')';
}

void PrintTo(const PlatformCall &call, std::ostream *out)
{
    *out << qUtf8Printable(toText(call));
}

QList<PlatformCall> platformCalls()
{
    return platform().calls;
}

QStringList platformCallTexts()
{
    QStringList texts;
    for (const PlatformCall &call : platform().calls)
        texts.append(toText(call));
    return texts;
}

void clearPlatformCalls()
{
    platform().calls.clear();
}

void onPlatformCall(const std::function<void(const PlatformCall &)> &observer)
{
    platform().observer = observer;
}

void setHasCodesys(bool hasCodesys)
{
    platform().hasCodesys = hasCodesys;
}

void setHasObjectDictionary(bool hasDictionary)
{
    platform().hasDictionary = hasDictionary;
}

std::span<quint8> fakeSharedArea()
{
    return platform().sharedArea;
}

void resetFakePlatform()
{
    platform() = {};
}

bool qmz::NodekeepGlobals::hasCodesys()
{
    return platform().hasCodesys;
}

qmz::GenGlobAccess qmz::globAcc;

void qmz::GenGlobAccess::attach()
{
    recordCall("GenGlobAccess.attach");
}

quint8 *qmz::GenGlobAccess::bytes()
{
    return platform().sharedArea.data();
}

OdAccess *OdAccess::getInstance()
{
    static OdAccess instance;
    return platform().hasDictionary ? &instance : nullptr;
}

void OdAccess::odRegisterObjectSync(int index, int subIndex, int type, unsigned int access, const QString &service,
                                    const QString &path, const QString &readMethod, const QString &writeMethod,
                                    const QString &label, unsigned int flags)
{
    recordCall("OdAccess.odRegisterObjectSync",
               {index, subIndex, type, access, service, path, readMethod, writeMethod, label, flags});
}

SysCfgAccess *SysCfgAccess::getInstance()
{
    static SysCfgAccess instance;
    return &instance;
}

void SysCfgAccess::startLedEffect(int durationSeconds, int effect)
{
    recordCall("SysCfgAccess.startLedEffect", {durationSeconds, effect});
}

Upstart::Upstart()
{
    recordCall("Upstart.Upstart");
}

void Upstart::start(const QString &job, bool wait)
{
    recordCall("Upstart.start", {job, wait});
}

void Upstart::stop(const QString &job, bool wait)
{
    recordCall("Upstart.stop", {job, wait});
}

void Upstart::restartNameservices()
{
    recordCall("Upstart.restartNameservices");
}

qmz::Qmzlog qmz::qmzlog;

void qmz::Qmzlog::open(const QString &ident, int facility, int option)
{
    recordCall("Qmzlog.open", {ident, facility, option});
}

void qmz::Qmzlog::setSyslogLevelWarning()
{
    recordCall("Qmzlog.setSyslogLevelWarning");
}

void qmz::Qmzlog::msg(QtMsgType type, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    recordCall("Qmzlog.msg", {static_cast<int>(type), QString::vasprintf(format, args)});
    va_end(args);
}
