#include <qmz/SysCfgAccess.h>

#include "CallRecord.h"

#include <QByteArray>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace {

// The kernel makes delay_on and delay_off when the trigger is set.
void writeLed(const char *attribute, const QByteArray &value)
{
    const QByteArray path = QByteArray("/sys/class/leds/qmz:signal/") + attribute;
    const int descriptor = ::open(path.constData(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    // A device without this LED, or one whose driver refuses, has nothing to show.
    [[maybe_unused]] const ssize_t taken = ::write(descriptor, value.constData(), static_cast<size_t>(value.size()));
    ::close(descriptor);
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

    const QByteArray blink = QByteArray::number(blinkMs(effect));
    writeLed("trigger", "timer");
    writeLed("delay_on", blink);
    writeLed("delay_off", blink);

    // A later effect replaces this one, and then this one's end must not end it.
    static unsigned int latest = 0;
    const unsigned int mine = ++latest;
    QTimer::singleShot(std::chrono::seconds(std::max(durationSeconds, 0)), [mine] {
        if (mine == latest)
            writeLed("trigger", "none");
    });
}
