#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <unistd.h>

#include <cstdio>

namespace {

/** A message that nobody waits for leaves through the bus library's own thread. Had it not done so by the end of the
 *  program, it would be a leak; an answer from behind it tells. */
void sendWhatIsLeft()
{
    if (const auto *bus = QDBusConnection::systemBus().interface())
        bus->isServiceRegistered(bus->service());
}

} // namespace

int main(int argc, char **argv)
{
    if (::access("/run/simulated-device", F_OK) != 0) {
        std::fputs("This test rewrites /etc and more: it runs inside the simulated device only, through ctest or "
                   "\"device/device run --ephemeral -- PROGRAM\".\n",
                   stderr);
        return 2;
    }
    const QCoreApplication application(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    const int status = RUN_ALL_TESTS();
    sendWhatIsLeft();
    return status;
}
