// Files that the web server has taken: certificates and the licence of the PLC runtime.

#include "system/Uploads.h"

#include "fake/FakePlatform.h"
#include "support/Messages.h"
#include "support/QtPrinting.h"
#include "support/Syncs.h"
#include "support/TestFiles.h"

#include <gmock/gmock.h>

#include <QDir>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString certificates = u"/srv/certificates"_s;
const QString plcFiles = u"/srv/codesys"_s;

class UploadsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        removeAll(certificates);
        removeAll(plcFiles);
    }

    /** An upload that the web server keeps in a file with this content. */
    void upload(const QByteArray &content, const QString &name)
    {
        writeFile(temporary, content);
        announce(name);
    }
    void announce(const QString &name) { storeUpload(temporary, name); }

    static QStringList stored(const QString &place = certificates)
    {
        return QDir(place).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }
    static QString certificate(const QString &name) { return certificates + u'/' + name; }

    const QTemporaryDir directory;
    const QString temporary = directory.filePath(u"upload"_s);
    Messages messages;
};

TEST_F(UploadsTest, CertificateIsMovedToTheDirectory)
{
    upload("%PDF-1", u"report.pdf"_s);

    EXPECT_EQ(readFile(certificate(u"report.pdf"_s)), "%PDF-1");
    EXPECT_FALSE(fileExists(temporary));
    EXPECT_EQ(messages.texts(), QStringList{u"Certificate upload"_s});
    EXPECT_EQ(platformCallTexts(), QStringList());
}

TEST_F(UploadsTest, NameKeepsItsCase)
{
    upload("a", u"CALIBRATION Nr. 1.PDF"_s);
    upload("b", u"Ä.pDf"_s);

    EXPECT_EQ(stored(), QStringList({u"CALIBRATION Nr. 1.PDF"_s, u"Ä.pDf"_s}));
}

TEST_F(UploadsTest, SameNameReplacesTheOlderOne)
{
    upload("a longer text", u"a.pdf"_s);

    upload("b", u"a.pdf"_s);

    EXPECT_EQ(readFile(certificate(u"a.pdf"_s)), "b");
    EXPECT_EQ(stored(), QStringList{u"a.pdf"_s});
}

TEST_F(UploadsTest, OtherFilesAreLeftAlone)
{
    for (const QString &name : {u"a.txt"_s, u"pdf"_s, u"a.pdf.gz"_s, u"a.pdf "_s, u""_s, u"fwupdate"_s, u"apdf"_s}) {
        upload("content", name);

        EXPECT_EQ(readFile(temporary), "content") << qPrintable(name);
        EXPECT_FALSE(fileExists(certificates)) << qPrintable(name);
        EXPECT_FALSE(fileExists(plcFiles)) << qPrintable(name);
    }
    EXPECT_EQ(messages.texts(), QStringList());
}

TEST_F(UploadsTest, PathInTheNameIsJoined)
{
    QDir().mkpath(certificate(u"sub"_s));

    upload("a", u"sub/a.pdf"_s);
    upload("b", u"../b.pdf"_s);
    upload("c", directory.filePath(u"c.pdf"_s));

    EXPECT_EQ(readFile(certificate(u"sub/a.pdf"_s)), "a");
    EXPECT_EQ(readFile(u"/srv/b.pdf"_s), "b");
    EXPECT_EQ(readFile(directory.filePath(u"c.pdf"_s)), "c");
    removeAll(u"/srv/b.pdf"_s);
}

TEST_F(UploadsTest, MissingSourceLosesTheOlderCertificateToo)
{
    upload("a", u"a.pdf"_s);

    announce(u"a.pdf"_s);

    EXPECT_EQ(stored(), QStringList());
}

TEST_F(UploadsTest, FileInTheDirectorysPlaceHasTheUploadStoredBesideIt)
{
    writeFile(certificates, "a file in the directory's place");

    upload("a", u"a.pdf"_s);

    EXPECT_FALSE(fileExists(temporary));
    EXPECT_EQ(readFile(certificates), "a file in the directory's place");
    EXPECT_EQ(readFile(u"/srv/a.pdf"_s), "a");
    removeAll(u"/srv/a.pdf"_s);
}

TEST_F(UploadsTest, DirectoryNamedLikeTheCertificateStays)
{
    QDir().mkpath(certificate(u"a.pdf/inside"_s));

    upload("a", u"a.pdf"_s);

    EXPECT_TRUE(fileExists(certificate(u"a.pdf/inside"_s)));
    EXPECT_FALSE(fileExists(temporary));
}

TEST_F(UploadsTest, FifoIsNotWaitedFor)
{
    ASSERT_EQ(::mkfifo(qPrintable(temporary), 0600), 0);

    announce(u"a.pdf"_s);
    ASSERT_EQ(::mkfifo(qPrintable(temporary), 0600), 0);
    announce(u"codesys.lic"_s);

    EXPECT_EQ(stored(), QStringList());
    EXPECT_EQ(stored(plcFiles), QStringList());
}

TEST_F(UploadsTest, EndlessDeviceIsNotRead)
{
    storeUpload(u"/dev/zero"_s, u"codesys.lic"_s);

    EXPECT_EQ(stored(plcFiles), QStringList());
}

TEST_F(UploadsTest, DirectoryAsSourceIsNoCertificate)
{
    ASSERT_TRUE(QDir().mkdir(temporary));

    announce(u"a.pdf"_s);

    EXPECT_EQ(stored(), QStringList());
    EXPECT_TRUE(fileExists(temporary));
}

TEST_F(UploadsTest, LicenceIsCopiedAndTheUploadStays)
{
    upload("licence", u"codesys.lic"_s);

    EXPECT_EQ(readFile(plcFiles + u"/codesys.lic"_s), "licence");
    EXPECT_EQ(readFile(temporary), "licence");
    EXPECT_FALSE(fileExists(certificates));
}

TEST_F(UploadsTest, LicenceReplacesTheOlderOneAndNothingElse)
{
    writeFile(plcFiles + u"/codesys.lic"_s, "an older, longer licence");
    writeFile(plcFiles + u"/Application.app"_s, "app");

    upload("new", u"codesys.lic"_s);

    EXPECT_EQ(readFile(plcFiles + u"/codesys.lic"_s), "new");
    EXPECT_EQ(stored(plcFiles), QStringList({u"Application.app"_s, u"codesys.lic"_s}));
}

TEST_F(UploadsTest, LicenceIsKnownByItsExactName)
{
    for (const QString &name : {u"Codesys.lic"_s, u"./codesys.lic"_s, u"codesys.lic.pdf"_s, u"xcodesys.lic"_s})
        upload("x", name);

    EXPECT_FALSE(fileExists(plcFiles));
}

TEST_F(UploadsTest, DeletesEveryCertificateAndCounts)
{
    for (const QString &name : {u"a.pdf"_s, u"B.PDF"_s, u"c.txt"_s, u"pdf"_s, u"d.pdf.old"_s})
        writeFile(certificate(name), "x");
    QDir().mkpath(certificate(u"directory.pdf"_s));

    EXPECT_EQ(deleteAllCertificates(), 2);

    EXPECT_EQ(stored(), QStringList({u"c.txt"_s, u"d.pdf.old"_s, u"directory.pdf"_s, u"pdf"_s}));
    EXPECT_EQ(messages.texts(), QStringList{u"delete all certificates"_s});
    EXPECT_EQ(deleteAllCertificates(), 0);
}

TEST_F(UploadsTest, LicenceIsSyncedOnceItIsThere)
{
    QByteArrayList licences;
    {
        const LookAtSyncs look([&] { licences += readFile(plcFiles + u"/codesys.lic"_s); });

        upload("licence", u"codesys.lic"_s);
    }

    EXPECT_EQ(licences, QByteArrayList{"licence"});
}

TEST_F(UploadsTest, CertificateIsSyncedOnceTheUploadHasGone)
{
    QList<QStringList> there;
    {
        const LookAtSyncs look([&] { there += stored() + QStringList(fileExists(temporary) ? u"upload"_s : u""_s); });

        upload("%PDF-1", u"report.pdf"_s);
    }

    EXPECT_EQ(there, (QList<QStringList>{{u"report.pdf"_s, u""_s}}));
}

TEST_F(UploadsTest, DeletionIsSyncedWhenThereWasSomethingToDelete)
{
    for (const QString &name : {u"a.pdf"_s, u"b.pdf"_s})
        writeFile(certificate(name), "x");
    QList<QStringList> there;
    {
        const LookAtSyncs look([&] { there += stored(); });

        EXPECT_EQ(deleteAllCertificates(), 2);
        EXPECT_EQ(deleteAllCertificates(), 0);
    }

    EXPECT_EQ(there, QList<QStringList>{QStringList()});
}

TEST_F(UploadsTest, HiddenCertificateIsNotDeleted)
{
    writeFile(certificate(u".a.pdf"_s), "x");

    EXPECT_EQ(deleteAllCertificates(), 0);

    EXPECT_EQ(stored(), QStringList{u".a.pdf"_s});
}

TEST_F(UploadsTest, DeletingDoesNotMakeTheDirectory)
{
    EXPECT_EQ(deleteAllCertificates(), 0);

    EXPECT_FALSE(fileExists(certificates));
}

} // namespace
