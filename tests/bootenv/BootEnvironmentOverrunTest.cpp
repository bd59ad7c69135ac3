// An erasure that hangs. Waits as long as the daemon does: 30 seconds for the tool, and again for the second one, which
// can't start.

#include "BootEnvironmentFixture.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QElapsedTimer>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

class BootEnvironmentOverrunTest : public BootEnvironmentFixture
{
};

TEST_F(BootEnvironmentOverrunTest, ErasureThatOverrunsStopsTheWriteAndIsEnded)
{
    const Messages messages;
    const QString idFile = flashFile(u"id"_s);
    tools.add(u"flash_eraseall"_s, "echo $$ >" + QFile::encodeName(idFile) + "\nexec sleep 600\n");
    start();
    QElapsedTimer elapsed;
    elapsed.start();

    environment->saveEnvNoRestore();

    EXPECT_GE(elapsed.elapsed(), 30000);
    EXPECT_EQ(tools.calls(), QStringList{erasure});
    const int id = readFile(idFile).trimmed().toInt();
    ASSERT_GT(id, 1);
    EXPECT_EQ(::kill(id, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

} // namespace
