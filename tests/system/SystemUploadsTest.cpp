// Which signals System takes for uploads.

#include "SystemFixture.h"

#include "support/BusClient.h"
#include "support/QtPrinting.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDir>

using namespace Qt::StringLiterals;

namespace {

const QString certificates = u"/srv/certificates"_s;

class SystemUploadsTest : public SystemFixture
{
protected:
    void SetUp() override
    {
        removeAll(certificates);
        start();
    }

    const QString temporary = directory.filePath(u"upload"_s);
};

TEST_F(SystemUploadsTest, HearsEverySendersSignal)
{
    QDBusConnection sender = QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"sender"_s);
    writeFile(temporary, "signalled");
    QDBusMessage signal = QDBusMessage::createSignal(u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s);
    signal << temporary << u"a.pdf"_s;
    letBusCatchUp();

    ASSERT_TRUE(sender.send(signal));

    EXPECT_TRUE(waitUntil([this] { return !fileExists(temporary); }));
    EXPECT_EQ(readFile(certificates + u"/a.pdf"_s), "signalled");
    QDBusConnection::disconnectFromBus(u"sender"_s);
}

TEST_F(SystemUploadsTest, IgnoresSignalsWithOtherArguments)
{
    QDBusConnection sender = QDBusConnection::connectToBus(QDBusConnection::SystemBus, u"sender"_s);
    writeFile(temporary, "kept");
    letBusCatchUp();
    const QList<QVariantList> others{{},
                                     {temporary},
                                     {temporary, 1},
                                     {1, u"a.pdf"_s},
                                     {temporary, QStringList{u"a.pdf"_s}},
                                     {QByteArray("x"), QVariantMap()},
                                     {temporary, u"a.pdf"_s, u"more"_s}};
    for (const QVariantList &arguments : others) {
        QDBusMessage signal = QDBusMessage::createSignal(u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s);
        signal.setArguments(arguments);
        ASSERT_TRUE(sender.send(signal));
    }
    BusClient client;
    EXPECT_EQ(client.value(u"/system"_s, u"local.System"_s, u"deleteAllCertificates"_s), 0);

    EXPECT_FALSE(QDir(certificates).exists());
    EXPECT_EQ(readFile(temporary), "kept");
    QDBusConnection::disconnectFromBus(u"sender"_s);
}

} // namespace
