#pragma once

#include "bootenv/BareboxConfig.h"
#include "system/Hostname.h"
#include "system/LedSignaling.h"
#include "system/PasswordDisable.h"

#include <QObject>
#include <QString>

/** The root of the device's settings, on the bus at "/system": what the device is, and its host name.
 *
 *  Its children are on the bus below it under their object names, among them the web stores "guiLevel1" to "guiLevel3"
 *  and "guiSystem", which hold settings of other programs.
 *
 *  Writing `hostname` can't answer with an error: a name that is refused is reported by the event hostnameInvalid, and
 *  a failing file by the log alone; see Hostname. The `ozt...` properties are the version record of the installed
 *  image, read once from /etc/oztversion.conf; empty when the file or the entry is missing. `oztgitversion` tells the
 *  same as `oztsvnversion`. */
class System : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.System")
    Q_PROPERTY(QString hostname READ getHostname WRITE setHostname)
    Q_PROPERTY(QString oztversion READ oztversion)
    Q_PROPERTY(QString oztsvnversion READ oztsvnversion)
    Q_PROPERTY(QString oztgitversion READ oztgitversion)
    Q_PROPERTY(QString oztgithash READ oztgithash)
    Q_PROPERTY(QString oztReleasename READ oztReleasename)
    Q_PROPERTY(QString oztBuildtime READ oztBuildtime)

public:
    /** Reads the stores and the host name, and registers the object on the bus. Ends the process when the bus refuses
     *  the signal of uploads. */
    explicit System(QObject *parent);

    QString getHostname() { return hostname.getHostname(); }
    void setHostname(const QString &name) { hostname.setHostname(name); }

    QString oztversion() const;
    QString oztsvnversion() const;
    QString oztgitversion() const;
    QString oztgithash() const;
    QString oztReleasename() const;
    QString oztBuildtime() const;

public Q_SLOTS:
    /** Empties the password of web user level 3, see the function of the same name. */
    bool resetWebPassword(const QString &file);
    /** See the function of the same name. */
    bool resetCodesys();

    // See LedSignaling.
    void startMeascardLedSignaling(int timeInSec) { LedSignaling::startMeascardLedSignaling(timeInSec); }
    void remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress);

    /** See the function of the same name. */
    int deleteAllCertificates();

    // See PasswordDisable.
    uint getPwDisable() const { return passwordDisable.getPwDisable(); }
    void setPwDisable(uint disableCode) { passwordDisable.setPwDisable(disableCode); }

protected Q_SLOTS:
    // For who reaches them by name; the parts hear of these things themselves.
    void replyFinished(QNetworkReply *reply) { ledSignaling.replyFinished(reply); }
    void hostnameChanged(const QString & /*path*/) { hostname.hostnameChanged(); }
    /** Nothing in the daemon tells it, and nothing asks. */
    void isOnline(bool nowOnline) { online = nowOnline; }
    /** The web server has taken an upload; see storeUpload(). */
    void fileUploaded(const QString &fname, const QString &rname);
    void pwDisableTimeout() { passwordDisable.pwDisableTimeout(); }

private:
    Hostname hostname;
    BareboxConfig versionConf;
    BareboxConfig guiLevel1;
    BareboxConfig guiLevel2;
    BareboxConfig guiLevel3;
    BareboxConfig guiSystem;
    LedSignaling ledSignaling;
    PasswordDisable passwordDisable;
    bool online = false;
};
