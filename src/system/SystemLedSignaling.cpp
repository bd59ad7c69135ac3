// "Here I am": the LEDs of the measurement card, on this device or on another one.

#include "system/System.h"

#include "system/LedRequest.h"

#include <qmz/SysCfgAccess.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {
constexpr int defaultSeconds = 10;
constexpr int hereIAmEffect = 6;
} // namespace

void System::startMeascardLedSignaling(int timeInSec)
{
    SysCfgAccess::getInstance()->startLedEffect(timeInSec > 0 ? timeInSec : defaultSeconds, hereIAmEffect);
}

void System::remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress)
{
    netManager = new QNetworkAccessManager;
    connect(netManager, &QNetworkAccessManager::finished, this, &System::replyFinished);

    QNetworkRequest request(QUrl(u"http://"_s + networkaddress));
    request.setRawHeader("User-Agent", "QMZ");
    // One call makes one request, wherever the other side would like to send it.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    netManager->post(request, ledRequestBody(timeInSec));
}

void System::replyFinished(QNetworkReply *reply)
{
    reply->deleteLater();
    // With several requests under way this is the latest one's manager, not the reply's own: the others stay for good.
    if (netManager)
        netManager->deleteLater();
}
