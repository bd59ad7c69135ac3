#include "system/PasswordDisable.h"

#include "system/StatusWord.h"

#include <qmz/GenGlobAccess.h>
#include <qmz/OdAccess.h>
#include <qmz/Qmzlog.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr uint minutesMask = 0xFFFF;
constexpr uint level2Mask = 0x10000;
constexpr uint level3Mask = 0x20000;
constexpr uint maxMinutes = 24 * 60;
constexpr int msPerMinute = 60000;

/** The shared area, attached at the first use in the life of the process. */
quint8 *sharedArea()
{
    static bool isAttached = false;
    if (!isAttached) {
        qmz::globAcc.attach();
        isAttached = true;
    }
    return qmz::globAcc.bytes();
}

} // namespace

PasswordDisable::PasswordDisable()
{
    connect(&pwDisableTimer, &QTimer::timeout, this, &PasswordDisable::pwDisableTimeout);
}

void PasswordDisable::registerPwDisable()
{
    if (OdAccess *const dictionary = OdAccess::getInstance())
        dictionary->odRegisterObjectSync(0x4003, 1, 0x54, 1, u"com.ozt.nodekeep"_s, u"/system"_s, u"getPwDisable"_s,
                                         u"setPwDisable"_s, u"pw disable"_s, 0);
}

void PasswordDisable::showPwDisable() const
{
    quint8 *const area = sharedArea();
    writeStatusBit(area, qmz::SYSSTAT_LEVEL2_PW_DISABLE_BITNR, pwDisableCode & level2Mask);
    writeStatusBit(area, qmz::SYSSTAT_LEVEL3_PW_DISABLE_BITNR, pwDisableCode & level3Mask);
}

uint PasswordDisable::getPwDisable() const
{
    return pwDisableCode;
}

void PasswordDisable::setPwDisable(uint disableCode)
{
    qmz::qmzlog.msg(QtDebugMsg, "%s: disable code 0x%08x", "setPwDisable", disableCode);

    const uint minutes = std::min(disableCode & minutesMask, maxMinutes);
    pwDisableCode = minutes == 0 ? 0 : disableCode;
    pwDisableTimer.stop();
    showPwDisable();

    // By the argument: a level without minutes starts a timer that ends at once.
    if (disableCode & (level2Mask | level3Mask)) {
        pwDisableTimer.setSingleShot(false);
        pwDisableTimer.start(static_cast<int>(minutes) * msPerMinute);
        qmz::qmzlog.msg(QtDebugMsg, "%s: password time out %d ms", "setPwDisable", pwDisableTimer.interval());
    }
}

void PasswordDisable::pwDisableTimeout()
{
    setPwDisable(0);
    qmz::qmzlog.msg(QtDebugMsg, "%s: rest interval  %d ms", "pwDisableTimeout", pwDisableTimer.interval());
}
