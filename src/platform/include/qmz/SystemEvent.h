#pragma once

#include <qmz/Export.h>

#include <QObject>

namespace qmz {

/** The device's event log.
 *
 *  Each operation tells one event; it returns at once, and how the event is stored or shown is the library's business.
 *  The last argument, `origin`, is the bus path in whose name the event is told. The operations need no instance. They
 *  are slots for the sake of the one instance that the daemon puts on the bus, where a client sets off events by hand;
 *  an enumeration is passed as its number there. */
class QMZ_EXPORT SystemEvent : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.qmz.SystemEvent")

public:
    /** How far the update of a firmware has come. The numbers are part of the bus interface. */
    enum FileUpload : int {
        UpdateFailed = 0,      ///< given up, whatever the reason
        PackageReceived = 1,   ///< an uploaded file is a firmware package
        PackageUnpacked = 2,   ///< the package was complete
        KernelVerified = 3,    ///< the checksum of the kernel image is right
        RootImageVerified = 4, ///< the checksum of the root file system's image is right
        UpdateStarted = 5      ///< a stored firmware was chosen to be installed
    };
    Q_ENUM(FileUpload)

    /** What went wrong on the CAN bus: the error classes of the kernel's error frames, one bit each. */
    enum CanError : int {
        UnspecifiedError = 0,
        TransmitTimeout = 0x001,
        LostArbitration = 0x002,
        ControllerProblem = 0x004,
        ProtocolViolation = 0x008,
        TransceiverStatus = 0x010,
        NoAcknowledgement = 0x020,
        BusOff = 0x040,
        BusError = 0x080,
        ControllerRestarted = 0x100
    };
    Q_ENUM(CanError)

    explicit SystemEvent(QObject *parent = nullptr);

    static void firmwareUpdate(FileUpload stage, const QString &origin);
    static void canError(const QString &text, CanError code, const QString &origin);

public Q_SLOTS:
    // For the bus: Qt keeps a slot that takes an enumeration off it, or, with the type registered as an integer, ends
    // the process when that slot is called.
    static void firmwareUpdate(int stage, const QString &origin);
    static void canError(const QString &text, int code, const QString &origin);

    /** @param origin the bus path of the firmware that is no more */
    static void firmwareDeleted(const QString &origin);
    /** The device is about to start anew. */
    static void reboot(const QString &origin);
    /** @param file name of an application file of the PLC runtime */
    static void codesysFileRemoved(const QString &file, const QString &origin);
    /** @param name the new host name */
    static void deviceNameChange(const QString &name, const QString &origin);
    /** @param refused the name that is not a valid host name
     *  @param current the host name that stays */
    static void hostnameInvalid(const QString &refused, const QString &current, const QString &origin);
    /** @param address the new address, or "DHCP" when it will be obtained from a server */
    static void networkAddressChange(const QString &address, const QString &origin);
    /** The web password is gone; the five below tell why it was not reset. */
    static void pwResetSuccessful(const QString &origin);
    /** The reset file's signature is wrong. */
    static void pwResetVerifyFailed(const QString &origin);
    /** The reset file's content can't be understood. */
    static void pwResetFormatError(const QString &origin);
    /** The reset file can't be read. */
    static void pwResetFileError(const QString &origin);
    /** The reset file is for a device of another name. */
    static void pwResetHostnameError(const QString &origin);
    /** The reset file is for a device with another network card. */
    static void pwResetMacError(const QString &origin);
};

} // namespace qmz
