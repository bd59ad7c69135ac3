#include "system/LedSignaling.h"

#include "system/LedRequest.h"

#include <qmz/SysCfgAccess.h>

#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
constexpr int defaultSeconds = 10;
constexpr int hereIAmEffect = 6;

/** A body that goes out once: Qt repeats a request by itself when the other side hangs up without an answer. */
class UnrepeatableBody : public QIODevice
{
public:
    explicit UnrepeatableBody(const QByteArray &body) : text(body) { open(ReadOnly | Unbuffered); }

    bool reset() override { return false; }
    qint64 size() const override { return text.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const QByteArray piece = text.mid(static_cast<qsizetype>(pos()), static_cast<qsizetype>(maxSize));
        std::copy(piece.begin(), piece.end(), data);
        return piece.size();
    }
    qint64 writeData(const char * /*data*/, qint64 /*maxSize*/) override { return -1; }

private:
    const QByteArray text;
};

} // namespace

void LedSignaling::startMeascardLedSignaling(int timeInSec)
{
    SysCfgAccess::getInstance()->startLedEffect(timeInSec > 0 ? timeInSec : defaultSeconds, hereIAmEffect);
}

void LedSignaling::remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress)
{
    netManager = new QNetworkAccessManager;
    netManager->setProxy(QNetworkProxy::NoProxy); // the address is the other device's, whatever the environment says
    connect(netManager, &QNetworkAccessManager::finished, this, &LedSignaling::replyFinished);

    QNetworkRequest request(QUrl(u"http://"_s + networkaddress));
    request.setRawHeader("User-Agent", "QMZ");
    // One call makes one request, wherever the other side would like to send it.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);

    auto *const body = new UnrepeatableBody(ledRequestBody(timeInSec));
    body->setParent(netManager->post(request, body));
}

void LedSignaling::replyFinished(QNetworkReply *reply)
{
    reply->deleteLater();
    // With several requests under way the other manager is the latest one's, not the reply's own: the others stay for
    // good, but not their connections and threads.
    reply->manager()->clearConnectionCache();
    if (netManager)
        netManager->deleteLater();
}
