#include "system/System.h"

#include "base/BusSignal.h"
#include "plc/PlcReset.h"
#include "system/Uploads.h"
#include "system/WebPasswordReset.h"

#include <QDBusConnection>

using namespace Qt::StringLiterals;

namespace {
const QString settingsPath = u"/etc/"_s;
} // namespace

System::System(QObject *parent)
    : QObject(parent),
      versionConf(this, settingsPath, u"oztversion.conf"_s),
      guiLevel1(this, settingsPath, u"guiLevel1"_s),
      guiLevel2(this, settingsPath, u"guiLevel2"_s),
      guiLevel3(this, settingsPath, u"guiLevel3"_s),
      guiSystem(this, settingsPath, u"guiSystem"_s)
{
    hostname.readInitialHostname();

    QDBusConnection::systemBus().registerObject(u"/system"_s, this,
                                                QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties |
                                                    QDBusConnection::ExportChildObjects);

    hostname.watchKernelHostname();

    subscribe({u"/"_s, u"com.ozt.httpdata"_s, u"fileUploaded"_s, u"ss"_s}, this, SLOT(fileUploaded(QString, QString)),
              "file upload signal connection failed!");

    PasswordDisable::registerPwDisable();
}

QString System::oztversion() const
{
    return versionConf.getTrimmed(u"VERSION"_s);
}

QString System::oztsvnversion() const
{
    return versionConf.getTrimmed(u"SVNVERSION"_s);
}

QString System::oztgitversion() const
{
    // No entry of its own exists: the record names one revision, under its old name.
    return oztsvnversion();
}

QString System::oztgithash() const
{
    return versionConf.getTrimmed(u"GITHASH"_s);
}

QString System::oztReleasename() const
{
    return versionConf.getTrimmed(u"RELEASENAME"_s);
}

QString System::oztBuildtime() const
{
    return versionConf.getTrimmed(u"BUILDTIME"_s);
}

bool System::resetCodesys()
{
    return ::resetCodesys();
}

bool System::resetWebPassword(const QString &file)
{
    return ::resetWebPassword(file, hostname.lastKnown(), guiLevel3);
}

void System::remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress)
{
    ledSignaling.remoteMeascardLedSingaling(timeInSec, networkaddress);
}

int System::deleteAllCertificates()
{
    return ::deleteAllCertificates();
}

void System::fileUploaded(const QString &fname, const QString &rname)
{
    storeUpload(fname, rname);
}
