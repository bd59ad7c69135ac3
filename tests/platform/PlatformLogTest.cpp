#include "LoggedCalls.h"

#include <qmz/FactoryManager.h>
#include <qmz/SystemEvent.h>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using qmz::SystemEvent;

namespace {

constexpr qint64 maxLogBytes = 1024 * 1024;

qint64 sizeOf(const QString &path)
{
    return QFileInfo(path).size();
}

/** Fills the log so far that `left` bytes are left before it is full. */
void fillUpTo(qint64 left)
{
    const QByteArray head = R"({"args":[")";
    const QByteArray tail = R"("],"call":"Old.call","time":"2026-01-01T00:00:00.000Z"})"
                            "\n";
    const qint64 text = maxLogBytes - left - head.size() - tail.size();
    writeFile(platformLogPath, head + QByteArray(static_cast<qsizetype>(text), 'x') + tail);
    ASSERT_EQ(sizeOf(platformLogPath), maxLogBytes - left);
}

/** An event's texts as a reader of the log gets them back. */
QString textAfterLogging(const QString &text)
{
    SystemEvent::reboot(text);
    const QList<QJsonObject> lines = loggedLines();
    EXPECT_FALSE(lines.isEmpty());
    return lines.isEmpty() ? QString() : lines.last()[u"args"][0].toString();
}

class PlatformLogTest : public ::testing::Test
{
protected:
    void SetUp() override { removeAll(platformLogDir); }
};

struct Text
{
    const char *what;
    QString text;
};

class PlatformLogTextTest : public PlatformLogTest, public ::testing::WithParamInterface<Text>
{
};

} // namespace

TEST_F(PlatformLogTest, HasCallArgumentsAndTimeOnOneLine)
{
    const QDateTime before = QDateTime::currentDateTimeUtc();

    SystemEvent::hostnameInvalid(u"-bad-"_s, u"node"_s, u"/system"_s);

    const QList<QJsonObject> lines = loggedLines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0].keys(), (QStringList{u"args"_s, u"call"_s, u"time"_s}));
    EXPECT_EQ(loggedCalls(), QStringList{u"SystemEvent.hostnameInvalid[\"-bad-\",\"node\",\"/system\"]"_s});
    const QString time = lines[0][u"time"].toString();
    EXPECT_EQ(time.size(), u"2026-11-21T08:12:01.123Z"_s.size()) << qPrintable(time);
    EXPECT_LE(before, QDateTime::fromString(time, Qt::ISODateWithMs));
    EXPECT_LE(QDateTime::fromString(time, Qt::ISODateWithMs), QDateTime::currentDateTimeUtc());
}

TEST_F(PlatformLogTest, KeepsTheOrderOfTheCalls)
{
    FactoryManager manager(u"system"_s, u"^\\/system$"_s, nullptr);
    manager.start();
    SystemEvent::reboot(u"/"_s);

    EXPECT_EQ(loggedCalls(), (QStringList{u"FactoryManager.FactoryManager[\"system\",\"^\\\\/system$\"]"_s,
                                          u"FactoryManager.start[]"_s, u"SystemEvent.reboot[\"/\"]"_s}));
}

TEST_P(PlatformLogTextTest, ReadsBackAsItWas)
{
    EXPECT_EQ(textAfterLogging(GetParam().text), GetParam().text);
    EXPECT_EQ(readFile(platformLogPath).count('\n'), 1);
}

INSTANTIATE_TEST_SUITE_P(, PlatformLogTextTest,
                         ::testing::Values(Text{"Empty", u""_s}, Text{"Quotes", u"a \"b\" \\\" 'c'"_s},
                                           Text{"Newlines", u"a\nb\r\n\n"_s},
                                           Text{"Nul", QString(u"a\0b"_s.constData(), 3)},
                                           Text{"ControlCharacters", u"\x01\x1b[31m\x7f\b\f\t"_s},
                                           Text{"OtherScripts", u"Gerät 测量 \U0001F600 \u2028"_s},
                                           Text{"OneMegabyte", QString(1000000, u'x')}),
                         [](const auto &row) { return std::string(row.param.what); });

TEST_F(PlatformLogTest, ALoneSurrogateDoesNotSpoilTheLine)
{
    const QString text = textAfterLogging(u"a"_s + QChar(0xD800) + u"b"_s + QChar(0xDC00));

    EXPECT_TRUE(text.startsWith(u'a') && text.contains(u'b')) << qPrintable(text);
}

TEST_F(PlatformLogTest, CutsTextsThatWouldNotFitIntoTheLog)
{
    const QString text(40000000, QChar(1)); // six bytes each in JSON

    SystemEvent::hostnameInvalid(text, text, u"/system"_s);

    const QList<QJsonObject> lines = loggedLines();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_LE(sizeOf(platformLogPath), maxLogBytes);
    EXPECT_EQ(lines[0][u"args"][0].toString(), QString(16384, QChar(1)) + u'\u2026');
    EXPECT_EQ(lines[0][u"args"][2].toString(), u"/system"_s);
}

TEST_F(PlatformLogTest, IsPutAsideWhenTheNextLineWouldPassOneMebibyte)
{
    fillUpTo(10);

    SystemEvent::reboot(u"/"_s);

    EXPECT_EQ(loggedCalls(), QStringList{u"SystemEvent.reboot[\"/\"]"_s});
    EXPECT_EQ(sizeOf(olderPlatformLogPath), maxLogBytes - 10);
    EXPECT_EQ(loggedLines(olderPlatformLogPath).size(), 1);
}

TEST_F(PlatformLogTest, StaysInPlaceWhileTheLineFits)
{
    fillUpTo(1000);

    SystemEvent::reboot(u"/"_s);

    EXPECT_EQ(loggedLines().size(), 2);
    EXPECT_FALSE(fileExists(olderPlatformLogPath));
}

TEST_F(PlatformLogTest, NeverTakesMoreThanTwoMebibytes)
{
    for (int i = 0; i < 100; ++i)
        SystemEvent::reboot(QString(100000, u'x'));

    EXPECT_LE(sizeOf(platformLogPath), maxLogBytes);
    EXPECT_LE(sizeOf(olderPlatformLogPath), maxLogBytes);
    EXPECT_GT(sizeOf(olderPlatformLogPath), maxLogBytes - 200000);
}

TEST_F(PlatformLogTest, IsBegunAnewEvenIfItCanNotBePutAside)
{
    fillUpTo(10);
    writeFile(olderPlatformLogPath + u"/in"_s, "a directory in its place");

    SystemEvent::reboot(u"/"_s);

    EXPECT_EQ(loggedCalls(), QStringList{u"SystemEvent.reboot[\"/\"]"_s});
}

TEST_F(PlatformLogTest, SurvivesAFileInTheDirectorysPlace)
{
    writeFile(platformLogDir, "not a directory");

    SystemEvent::reboot(u"/"_s);

    EXPECT_EQ(readFile(platformLogDir), "not a directory");
}

TEST_F(PlatformLogTest, SurvivesADirectoryInItsPlace)
{
    writeFile(platformLogPath + u"/in"_s, "");

    SystemEvent::reboot(u"/"_s);

    EXPECT_TRUE(QFileInfo(platformLogPath).isDir());
}

TEST_F(PlatformLogTest, DoesNotWaitForTheReaderOfAFifoInItsPlace)
{
    QDir().mkpath(platformLogDir);
    ASSERT_EQ(::mkfifo(qPrintable(platformLogPath), 0600), 0);

    SystemEvent::reboot(u"/"_s);

    EXPECT_TRUE(fileExists(platformLogPath));
}

TEST_F(PlatformLogTest, WritesNothingIntoAFifoInItsPlace)
{
    QDir().mkpath(platformLogDir);
    ASSERT_EQ(::mkfifo(qPrintable(platformLogPath), 0600), 0);
    const int reader = ::open(qPrintable(platformLogPath), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);

    SystemEvent::reboot(u"/"_s);

    char byte = 0;
    EXPECT_EQ(::read(reader, &byte, 1), 0);
    ::close(reader);
}

TEST_F(PlatformLogTest, AFullDiskLeavesNoHalfLine)
{
    QDir().mkpath(platformLogDir);
    ASSERT_EQ(::mount("tmpfs", qPrintable(platformLogDir), "tmpfs", 0, "size=64k"), 0);
    SystemEvent::reboot(u"first"_s);

    SystemEvent::reboot(QString(200000, u'x'));
    SystemEvent::reboot(u"last"_s);

    EXPECT_EQ(loggedCalls(), (QStringList{u"SystemEvent.reboot[\"first\"]"_s, u"SystemEvent.reboot[\"last\"]"_s}));
    EXPECT_EQ(::umount(qPrintable(platformLogDir)), 0);
}

TEST_F(PlatformLogTest, KeepsNoDescriptorOpen)
{
    const auto openDescriptors = [] { return QDir(u"/proc/self/fd"_s).entryList(QDir::System | QDir::Files).size(); };
    const auto before = openDescriptors();

    for (int i = 0; i < 20; ++i)
        SystemEvent::reboot(u"/"_s);
    fillUpTo(1);
    SystemEvent::reboot(u"/"_s);
    EXPECT_EQ(openDescriptors(), before);

    removeAll(platformLogPath);
    ASSERT_EQ(::mkfifo(qPrintable(platformLogPath), 0600), 0);
    const int reader = ::open(qPrintable(platformLogPath), O_RDONLY | O_NONBLOCK);
    SystemEvent::reboot(u"/"_s);
    ::close(reader);
    EXPECT_EQ(openDescriptors(), before);
}
