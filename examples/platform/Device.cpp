// What the gauge has of hardware, and what of it other programs see.

#include <qmz/FactoryManager.h>
#include <qmz/GenGlobAccess.h>
#include <qmz/OdAccess.h>
#include <qmz/Qmzlog.h>
#include <qmz/SysCfgAccess.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>
#include <QTimer>

#include <fcntl.h>
#include <sys/mman.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdarg>

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t areaBytes = 8192;
std::array<quint8, areaBytes> ownArea{};
quint8 *area = ownArea.data();

void setLamp(const QByteArray &trigger)
{
    QFile file(u"/sys/class/leds/gauge:lamp/trigger"_s);
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered | QIODevice::ExistingOnly))
        file.write(trigger);
}

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

// Nothing of the gauge asks who looks after which path.
FactoryManager::FactoryManager(const QString & /*domain*/, const QString & /*pattern*/, QObject *parent)
    : QObject(parent)
{
}

void FactoryManager::start() {}

// Nor has it an object dictionary, so that what follows is never called.
OdAccess *OdAccess::getInstance()
{
    return nullptr;
}

void OdAccess::odRegisterObjectSync(int /*index*/, int /*subIndex*/, int /*type*/, unsigned int /*access*/,
                                    const QString & /*service*/, const QString & /*path*/,
                                    const QString & /*readMethod*/, const QString & /*writeMethod*/,
                                    const QString & /*label*/, unsigned int /*flags*/)
{
}

SysCfgAccess *SysCfgAccess::getInstance()
{
    static SysCfgAccess instance;
    return &instance;
}

// The one lamp blinks alike for all of it.
void SysCfgAccess::startLedEffect(int durationSeconds, int /*effect*/)
{
    static QTimer *const end = [] {
        auto *const timer = new QTimer(QCoreApplication::instance());
        timer->setSingleShot(true);
        timer->callOnTimeout([] { setLamp("none"); });
        return timer;
    }();
    setLamp("timer");
    end->start(std::chrono::seconds(durationSeconds));
}

namespace qmz {

GenGlobAccess globAcc;
Qmzlog qmzlog;

void GenGlobAccess::attach()
{
    const int descriptor = ::shm_open("/gauge", O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    if (descriptor < 0)
        return;
    if (::posix_fallocate(descriptor, 0, areaBytes) == 0) {
        void *const mapped = ::mmap(nullptr, areaBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        if (mapped != MAP_FAILED)
            area = static_cast<quint8 *>(mapped);
    }
    ::close(descriptor);
}

quint8 *GenGlobAccess::bytes()
{
    return area;
}

void Qmzlog::open(const QString &ident, int facility, int option)
{
    static QByteArray keptIdent; // syslog keeps the pointer
    keptIdent = ident.toUtf8();
    ::openlog(keptIdent.constData(), option, facility);
}

void Qmzlog::setSyslogLevelWarning()
{
    ::setlogmask(LOG_UPTO(LOG_WARNING));
}

void Qmzlog::msg(QtMsgType type, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    ::vsyslog(priority(type), format, args);
    va_end(args);
}

} // namespace qmz
