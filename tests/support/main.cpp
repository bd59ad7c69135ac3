#include <gmock/gmock.h>

#include <QCoreApplication>

#include <unistd.h>

#include <cstdio>

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
    return RUN_ALL_TESTS();
}
