#include <qmz/SysCfgAccess.h>

#include "CallRecord.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QString ledPath = u"/sys/class/leds/qmz:signal"_s;
constexpr int maxSeconds = std::numeric_limits<int>::max() / 1000; // more than a Qt timer can take is cut off

void writeLed(const char *attribute, const QByteArray &value)
{
    const QByteArray path = QFile::encodeName(ledPath) + '/' + attribute;
    const int descriptor = ::open(path.constData(), O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    if (::write(descriptor, value.constData(), static_cast<size_t>(value.size())) != value.size())
        qDebug("signal LED: the kernel refused %s as %s, ignoring", value.constData(), attribute);
    ::close(descriptor);
}

// The kernel makes the two delays when the trigger is set.
void blinkLed(int phaseMs)
{
    const QByteArray phase = QByteArray::number(phaseMs);
    writeLed("trigger", "timer");
    writeLed("delay_on", phase);
    writeLed("delay_off", phase);
}

void darkenLed()
{
    writeLed("trigger", "none");
}

int blinkMs(int effect)
{
    switch (effect) {
    case 1:
        return 100;
    case 2:
        return 1000;
    case 3:
        return 500;
    case 5:
        return 250;
    default:
        return 750;
    }
}

} // namespace

SysCfgAccess *SysCfgAccess::getInstance()
{
    static SysCfgAccess instance;
    return &instance;
}

void SysCfgAccess::startLedEffect(int durationSeconds, int effect)
{
    recordCall("SysCfgAccess.startLedEffect", {durationSeconds, effect});

    if (!QFileInfo(ledPath).isDir())
        return;
    blinkLed(blinkMs(effect));

    // A later effect replaces this one, and then this one's end must not end it.
    static unsigned int latest = 0;
    const unsigned int mine = ++latest;
    const std::chrono::milliseconds duration = std::chrono::seconds(std::clamp(durationSeconds, 0, maxSeconds));
    QTimer::singleShot(duration, QCoreApplication::instance(), [mine] {
        if (mine == latest)
            darkenLed();
    });
}
