// Reading and changing the host name while the files behind it are in order.

#include "system/Hostname.h"

#include "HostnameFixture.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QProcess>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

const QString restart = u"Upstart.restartNameservices()"_s;

class HostnameTest : public HostnameFixture
{
protected:
    void SetUp() override { start(); }

    static bool changesAnnounced() { return platformCalls().size() >= 2; }
};

struct Name
{
    const char *name;
    QString text;
};

class ValidHostnameTest : public HostnameTest, public testing::WithParamInterface<Name>
{
};

TEST_P(ValidHostnameTest, GoesToFileAndKernelAndIsNotAnnouncedAtOnce)
{
    const QByteArray line = GetParam().text.toLatin1() + '\n';

    hostname->setHostname(GetParam().text);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), line);
    EXPECT_EQ(readFile(kernelPath), line.first(std::min(line.size() - 1, qsizetype(64))) + '\n');
    EXPECT_EQ(hostname->lastKnown(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Names, ValidHostnameTest,
                         testing::Values(Name{"OneLetter", u"a"_s}, Name{"OneCapital", u"Z"_s},
                                         Name{"OneDigit", u"7"_s}, Name{"TwoCharacters", u"a1"_s},
                                         Name{"InnerHyphen", u"a-b"_s}, Name{"InnerHyphens", u"a--b-c"_s},
                                         Name{"Digits", u"0-0"_s}, Name{"LettersOfBothCases", u"Node-ABC-xyz"_s},
                                         Name{"LongestOfTheKernel", QString(64, u'x')},
                                         Name{"LongerThanTheKernels", QString(65, u'x')},
                                         Name{"Megabyte", QString(1'000'000, u'x')}),
                         [](const auto &row) { return std::string(row.param.name); });

class InvalidHostnameTest : public HostnameTest, public testing::WithParamInterface<Name>
{
};

TEST_P(InvalidHostnameTest, IsReportedAndChangesNothing)
{
    hostname->setHostname(GetParam().text);

    const QList<PlatformCall> calls = platformCalls();
    ASSERT_EQ(calls.size(), 1);
    EXPECT_EQ(calls.first().name, u"SystemEvent.hostnameInvalid"_s);
    EXPECT_EQ(calls.first().args, (QVariantList{GetParam().text, u"node-1"_s, u"/system"_s}));
    EXPECT_EQ(readFile(storedPath), "node-1\n");
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(hostname->lastKnown(), u"node-1"_s);
}

INSTANTIATE_TEST_SUITE_P(Names, InvalidHostnameTest,
                         testing::Values(Name{"Empty", u""_s}, Name{"Hyphen", u"-"_s}, Name{"HyphenFirst", u"-a"_s},
                                         Name{"HyphenLast", u"a-"_s}, Name{"Underscore", u"a_b"_s},
                                         Name{"Point", u"a.b"_s}, Name{"Blank", u"a b"_s}, Name{"BlankFirst", u" a"_s},
                                         Name{"BlankLast", u"a "_s}, Name{"LineFeedLast", u"a\n"_s},
                                         Name{"LineFeedInside", u"a\nb"_s}, Name{"Slash", u"a/b"_s},
                                         Name{"Nul", u"a\0b"_s}, Name{"Umlaut", u"gerät"_s},
                                         Name{"ForeignDigit", u"٣"_s}, Name{"OtherHyphen", u"a\u2010b"_s},
                                         Name{"LoneSurrogate", QString(QChar(0xd800))},
                                         Name{"MegabyteWithHyphenLast", QString(1'000'000, u'x') + u'-'},
                                         Name{"MegabyteOfHyphens", QString(1'000'000, u'-')}),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(HostnameTest, SettingTheSameNameDoesNothingWhateverTheFilesHold)
{
    writeFile(storedPath, "other\n");
    setKernelName("other");

    hostname->setHostname(u"node-1"_s);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), "other\n");
    EXPECT_EQ(readFile(kernelPath), "other\n");
}

TEST_F(HostnameTest, SettingTheSameNameIsNoErrorThoughItIsInvalid)
{
    setKernelName("not_valid");
    ASSERT_EQ(hostname->getHostname(), u"not_valid"_s);

    hostname->setHostname(u"not_valid"_s);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(HostnameTest, ReadingFollowsTheKernel)
{
    setKernelName("elsewhere");

    EXPECT_EQ(hostname->getHostname(), u"elsewhere"_s);

    EXPECT_EQ(hostname->lastKnown(), u"elsewhere"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(HostnameTest, NameThatWasReadIsWhatANewOneIsComparedWith)
{
    setKernelName("elsewhere");
    ASSERT_EQ(hostname->getHostname(), u"elsewhere"_s);

    hostname->setHostname(u"node-1"_s);

    EXPECT_EQ(readFile(kernelPath), "node-1\n");
}

TEST_F(HostnameTest, ChangeIsAnnouncedOnceTheKernelHasIt)
{
    hostname->setHostname(u"node-2"_s);
    ASSERT_EQ(platformCallTexts(), QStringList());

    EXPECT_TRUE(waitUntil(changesAnnounced));

    const QString event = u"SystemEvent.deviceNameChange(\"node-2\", \"/\")"_s;
    EXPECT_EQ(platformCallTexts().first(2), (QStringList{restart, event}));
}

TEST_F(HostnameTest, ChangeByAnotherProgramIsAnnounced)
{
    ASSERT_EQ(QProcess::execute(u"sh"_s, {u"-c"_s, u"echo other >"_s + kernelPath}), 0);

    EXPECT_TRUE(waitUntil(changesAnnounced));

    const QString event = u"SystemEvent.deviceNameChange(\"other\", \"/\")"_s;
    EXPECT_EQ(platformCallTexts().first(2), (QStringList{restart, event}));
    EXPECT_EQ(hostname->lastKnown(), u"other"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(HostnameTest, EveryChangeIsAnnounced)
{
    for (const QString &name : {u"first"_s, u"second"_s, u"third"_s}) {
        clearPlatformCalls();

        hostname->setHostname(name);

        const QString event = u"SystemEvent.deviceNameChange(\"%1\", \"/\")"_s.arg(name);
        EXPECT_TRUE(waitUntil([&] { return platformCallTexts().contains(event); })) << qPrintable(name);
    }
}

TEST_F(HostnameTest, ReportOfTheWatcherTakesTheKernelsName)
{
    setKernelName("elsewhere");

    hostname->hostnameChanged();

    EXPECT_THAT(platformCallTexts(), ElementsAre(restart, u"SystemEvent.deviceNameChange(\"elsewhere\", \"/\")"_s));
}

} // namespace
