#include "LoggedCalls.h"

#include <qmz/GenGlobAccess.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <span>

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t areaBytes = 8192;
constexpr std::size_t statusWordOffset = 3930;
const QString areaPath = u"/dev/shm/qmz_globals"_s;

/** Another process's view of the area. */
class OtherView
{
public:
    OtherView()
    {
        const int descriptor = ::open(qPrintable(areaPath), O_RDWR | O_CLOEXEC);
        void *const mapped = ::mmap(nullptr, areaBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        ::close(descriptor);
        EXPECT_NE(mapped, MAP_FAILED);
        if (mapped != MAP_FAILED)
            bytes = {static_cast<quint8 *>(mapped), areaBytes};
    }

    ~OtherView() { ::munmap(bytes.data(), bytes.size()); }
    Q_DISABLE_COPY_MOVE(OtherView)

    std::span<quint8> bytes;
};

bool isAllZero(const quint8 *bytes)
{
    return std::all_of(bytes, bytes + areaBytes, [](quint8 byte) { return byte == 0; });
}

/** Writes over the whole area: the process ends if any of it is not really there. */
void fill(quint8 value)
{
    std::fill_n(qmz::globAcc.bytes(), areaBytes, value);
}

class GenGlobAccessTest : public ::testing::Test
{
protected:
    void SetUp() override { removeAll(areaPath); }
};

} // namespace

TEST_F(GenGlobAccessTest, MakesTheAreaFilledWithZeros)
{
    qmz::globAcc.attach();

    EXPECT_TRUE(isAllZero(qmz::globAcc.bytes()));
    EXPECT_EQ(readFile(areaPath), QByteArray(areaBytes, '\0'));
}

TEST_F(GenGlobAccessTest, SharesTheStatusWordWithOtherProcessesInBothDirections)
{
    qmz::globAcc.attach();
    const OtherView other;

    qmz::globAcc.bytes()[statusWordOffset] = 0x0C;
    other.bytes[statusWordOffset + 3] = 0x80;

    EXPECT_EQ(other.bytes[statusWordOffset], 0x0C);
    EXPECT_EQ(qmz::globAcc.bytes()[statusWordOffset + 3], 0x80);
}

TEST_F(GenGlobAccessTest, KeepsWhatAnotherProcessHasMadeAndFilled)
{
    const QByteArray before(areaBytes + 4096, 'x');
    writeFile(areaPath, before);

    qmz::globAcc.attach();

    EXPECT_EQ(readFile(areaPath), before);
    EXPECT_EQ(qmz::globAcc.bytes()[statusWordOffset], 'x');
}

TEST_F(GenGlobAccessTest, LengthensAnAreaThatIsTooShort)
{
    writeFile(areaPath, "head");

    qmz::globAcc.attach();
    fill(7);

    EXPECT_EQ(readFile(areaPath), QByteArray(areaBytes, '\7'));
}

TEST_F(GenGlobAccessTest, FallsBackToAPrivateAreaWhenTheObjectCanNotBeOpened)
{
    writeFile(areaPath + u"/in"_s, "a directory in its place");

    qmz::globAcc.attach();

    ASSERT_NE(qmz::globAcc.bytes(), nullptr);
    fill(1);
}

TEST_F(GenGlobAccessTest, FallsBackToAPrivateAreaWhenSharedMemoryIsFull)
{
    ASSERT_EQ(::mount("tmpfs", "/dev/shm", "tmpfs", 0, "size=4k"), 0);

    qmz::globAcc.attach();

    fill(1);
    EXPECT_EQ(::umount("/dev/shm"), 0);
}

TEST_F(GenGlobAccessTest, RecordsTheAttachment)
{
    removeAll(platformLogDir);

    qmz::globAcc.attach();

    EXPECT_EQ(loggedCalls(), QStringList{u"GenGlobAccess.attach[]"_s});
}
