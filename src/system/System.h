#pragma once

#include "bootenv/BareboxConfig.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

class QFileSystemWatcher;
class QNetworkAccessManager;
class QNetworkReply;

/** The root of the device's settings, on the bus at "/system": what the device is, and its host name.
 *
 *  Its children are on the bus below it under their object names, among them the web stores "guiLevel1" to "guiLevel3"
 *  and "guiSystem", which hold settings of other programs.
 *
 *  `hostname` is the kernel's, read anew at each access; "qmz" while the kernel's file can't be read. Writing it
 *  changes /etc/hostname and the kernel's name. The write can't answer with an error: a name that is refused is
 *  reported by the event hostnameInvalid, and a failing file by nothing. A change, whoever makes it, is announced by
 *  the event deviceNameChange once the kernel has it, and the name services are restarted. Writing the name that the
 *  device already has does nothing at all.
 *
 *  The `ozt...` properties are the version record of the installed image, read once from /etc/oztversion.conf; empty
 *  when the file or the entry is missing. `oztgitversion` tells the same as `oztsvnversion`.
 *
 *  Certificates come by the web server's signal "fileUploaded" and are kept in
 *  qmz::NodekeepGlobals::CERTIFICATE_PATH; nobody is told whether that worked.
 *
 *  The pair getPwDisable and setPwDisable is an entry of the device's object dictionary where there is one. */
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
    /** Reads the stores and the host name, and registers the object on the bus. When neither /etc/hostname nor the
     *  kernel has a name, both are given the name "qmz". Ends the process when the bus refuses the signal of uploads.
     */
    explicit System(QObject *parent);

    QString getHostname();
    /** @param name letters, digits and inner hyphens, of any length; else it is refused */
    void setHostname(const QString &name);

    QString oztversion() const;
    QString oztsvnversion() const;
    QString oztgitversion() const;
    QString oztgithash() const;
    QString oztReleasename() const;
    QString oztBuildtime() const;

public Q_SLOTS:
    /** Empties the password of web user level 3, given a file that gpg accepts and that names this device by host name
     *  and Ethernet address. How it went is told by one of the events pwReset..., too. The service is blocked while gpg
     *  runs, for as long as that takes.
     *  @param file path of a clear-signed text; deleted after a success, else left where it is
     *  @return whether the password was reset. That it could be saved is not made sure of. */
    bool resetWebPassword(const QString &file);
    /** See PlcReset. */
    bool resetCodesys();

    /** Signals with the LEDs of this device for some seconds; 10 when `timeInSec` is not above 0. */
    void startMeascardLedSignaling(int timeInSec);
    /** Asks another device to signal, over HTTP, and returns at once; nobody learns how it went. While one request is
     *  under way a further one costs memory that is not given back, and the first answer ends the latest request.
     *  @param networkaddress host, and port and path where they are needed */
    void remoteMeascardLedSingaling(int timeInSec, const QString &networkaddress);

    /** Removes every file in the certificate directory that is named "*.pdf", in small or capital letters.
     *  @return how many were removed */
    int deleteAllCertificates();

    /** The code last given to setPwDisable, which does not count down; 0 when no period runs. */
    uint getPwDisable() const;
    /** Switches passwords off for a time, in place of what went before. Other processes see it by two bits of the
     *  shared status word. Nothing of it outlives the daemon but those bits, which stay as they are until the next
     *  call.
     *  @param disableCode bits 0 to 15: the minutes, of which a day counts at most; 0 ends the period.
     *                     Bit 16: level 2, bit 17: level 3. Without a level the code is kept until the next call. */
    void setPwDisable(uint disableCode);

protected Q_SLOTS:
    /** The other device has answered, or can't be reached. */
    void replyFinished(QNetworkReply *reply);
    /** The kernel's host name has changed. */
    void hostnameChanged(const QString &path);
    void isOnline(bool nowOnline);
    /** The web server has taken an upload. A "*.pdf" becomes a certificate and its temporary file goes, even when it
     *  could not be stored. The PLC runtime's licence file is copied to its place.
     *  @param fname path of the temporary file
     *  @param rname name that the uploader gave; not cleaned, a path in it counts */
    void fileUploaded(const QString &fname, const QString &rname);
    void pwDisableTimeout();

private:
    void readInitialHostname();
    bool readKernelHostname();
    void watchKernelHostname();

    static void registerPwDisable();
    void showPwDisable() const;

    QFileSystemWatcher *watcher = nullptr; // on the kernel's host name
    QString hostname;                      // last known
    BareboxConfig versionConf;
    BareboxConfig guiLevel1;
    BareboxConfig guiLevel2;
    BareboxConfig guiLevel3;
    BareboxConfig guiSystem;
    QPointer<QNetworkAccessManager> netManager; // of the latest request to another device; not owned
    bool online = false;
    quint32 pwDisableCode = 0;
    QTimer pwDisableTimer{this};
};
