// Reading and changing the host name while the files behind it are in order.

#include "system/SystemFixture.h"

#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QProcess>

using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

const QString restart = u"Upstart.restartNameservices()"_s;

class SystemHostnameTest : public SystemFixture
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

class SystemValidNameTest : public SystemHostnameTest, public testing::WithParamInterface<Name>
{
};

TEST_P(SystemValidNameTest, GoesToFileAndKernelAndIsNotAnnouncedAtOnce)
{
    const QByteArray line = GetParam().text.toLatin1() + '\n';

    system->setHostname(GetParam().text);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), line);
    EXPECT_EQ(readFile(kernelPath), line.first(std::min(line.size() - 1, qsizetype(64))) + '\n');
    EXPECT_EQ(rememberedName(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Names, SystemValidNameTest,
                         testing::Values(Name{"OneLetter", u"a"_s}, Name{"OneCapital", u"Z"_s},
                                         Name{"OneDigit", u"7"_s}, Name{"TwoCharacters", u"a1"_s},
                                         Name{"InnerHyphen", u"a-b"_s}, Name{"InnerHyphens", u"a--b-c"_s},
                                         Name{"Digits", u"0-0"_s}, Name{"LettersOfBothCases", u"Node-ABC-xyz"_s},
                                         Name{"LongestOfTheKernel", QString(64, u'x')},
                                         Name{"LongerThanTheKernels", QString(65, u'x')},
                                         Name{"Megabyte", QString(1'000'000, u'x')}),
                         [](const auto &row) { return std::string(row.param.name); });

class SystemInvalidNameTest : public SystemHostnameTest, public testing::WithParamInterface<Name>
{
};

TEST_P(SystemInvalidNameTest, IsReportedAndChangesNothing)
{
    system->setHostname(GetParam().text);

    const QList<PlatformCall> calls = platformCalls();
    ASSERT_EQ(calls.size(), 1);
    EXPECT_EQ(calls.first().name, u"SystemEvent.hostnameInvalid"_s);
    EXPECT_EQ(calls.first().args, (QVariantList{GetParam().text, u"node-1"_s, u"/system"_s}));
    EXPECT_EQ(readFile(storedPath), "node-1\n");
    EXPECT_EQ(readFile(kernelPath), "node-1\n");
    EXPECT_EQ(rememberedName(), u"node-1"_s);
}

INSTANTIATE_TEST_SUITE_P(Names, SystemInvalidNameTest,
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

TEST_F(SystemHostnameTest, SettingTheSameNameDoesNothingWhateverTheFilesHold)
{
    writeFile(storedPath, "other\n");
    setKernelName("other");

    system->setHostname(u"node-1"_s);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), "other\n");
    EXPECT_EQ(readFile(kernelPath), "other\n");
}

TEST_F(SystemHostnameTest, SettingTheSameNameIsNoErrorThoughItIsInvalid)
{
    setKernelName("not_valid");
    ASSERT_EQ(system->getHostname(), u"not_valid"_s);

    system->setHostname(u"not_valid"_s);

    EXPECT_EQ(platformCallTexts(), QStringList());
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(SystemHostnameTest, ReadingFollowsTheKernel)
{
    setKernelName("elsewhere");

    EXPECT_EQ(system->getHostname(), u"elsewhere"_s);

    EXPECT_EQ(rememberedName(), u"elsewhere"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(SystemHostnameTest, NameThatWasReadIsWhatANewOneIsComparedWith)
{
    setKernelName("elsewhere");
    ASSERT_EQ(system->getHostname(), u"elsewhere"_s);

    system->setHostname(u"node-1"_s);

    EXPECT_EQ(readFile(kernelPath), "node-1\n");
}

TEST_F(SystemHostnameTest, ChangeIsAnnouncedOnceTheKernelHasIt)
{
    system->setHostname(u"node-2"_s);
    ASSERT_EQ(platformCallTexts(), QStringList());

    EXPECT_TRUE(waitUntil(changesAnnounced));

    const QString event = u"SystemEvent.deviceNameChange(\"node-2\", \"/\")"_s;
    EXPECT_EQ(platformCallTexts().first(2), (QStringList{restart, event}));
}

TEST_F(SystemHostnameTest, ChangeByAnotherProgramIsAnnounced)
{
    ASSERT_EQ(QProcess::execute(u"sh"_s, {u"-c"_s, u"echo other >"_s + kernelPath}), 0);

    EXPECT_TRUE(waitUntil(changesAnnounced));

    const QString event = u"SystemEvent.deviceNameChange(\"other\", \"/\")"_s;
    EXPECT_EQ(platformCallTexts().first(2), (QStringList{restart, event}));
    EXPECT_EQ(rememberedName(), u"other"_s);
    EXPECT_EQ(readFile(storedPath), "node-1\n");
}

TEST_F(SystemHostnameTest, EveryChangeIsAnnounced)
{
    for (const QString &name : {u"first"_s, u"second"_s, u"third"_s}) {
        clearPlatformCalls();

        system->setHostname(name);

        const QString event = u"SystemEvent.deviceNameChange(\"%1\", \"/\")"_s.arg(name);
        EXPECT_TRUE(waitUntil([&] { return platformCallTexts().contains(event); })) << qPrintable(name);
    }
}

TEST_F(SystemHostnameTest, ReportOfTheWatcherTakesTheKernelsName)
{
    setKernelName("elsewhere");

    ASSERT_TRUE(QMetaObject::invokeMethod(system.get(), "hostnameChanged", Q_ARG(QString, u"/ignored"_s)));

    EXPECT_THAT(platformCallTexts(), ElementsAre(restart, u"SystemEvent.deviceNameChange(\"elsewhere\", \"/\")"_s));
}

} // namespace
