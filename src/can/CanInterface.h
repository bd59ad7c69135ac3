#pragma once

#include "bootenv/BareboxConfig.h"

#include <QObject>

/** The settings of the device's CAN port "can0", on the bus below its parent.
 *
 *  They are kept in /etc/network/canconfig, a store that is on the bus below this object. The system's interface
 *  scripts take them from there: no tool is handed a value. A first start writes the file with 1 Mbit/s, no
 *  termination and 1 s; every later one brings the stored termination to the hardware.
 *
 *  Writing `baudrate` or `restart_ms` stores the value, whatever it is, and takes the port down and up, also when the
 *  value is the same. This blocks until the tools have ended, without limit. Writing `termination` stores it and
 *  switches the hardware; the port goes on. Nothing of this reports a failure. */
class CanInterface : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "local.CanInterface")
    /** In bit/s, as stored; 0 if that is no number. The port may have taken another: see `getActualBaudrate`. */
    Q_PROPERTY(int baudrate READ getCanBaudrate WRITE setBaudrate)
    /** As the hardware tells, not as stored. */
    Q_PROPERTY(bool termination READ getCanTerm WRITE setTermination)
    /** How long the port stays off after an error of the bus, in ms, as stored; 0 if that is no number. */
    Q_PROPERTY(uint restart_ms READ getRestartMs WRITE setRestartMs)

public:
    explicit CanInterface(QObject *parent);

    void setBaudrate(int bitsPerSecond);
    void setTermination(bool on);
    uint getRestartMs() const;
    void setRestartMs(uint milliseconds);

public Q_SLOTS:
    /** Asks /sbin/canconfig for the rate that the port has, at most 30 s.
     *  @return in bit/s; 0 when it can't be had */
    int getActualBaudrate() const;
    int getCanBaudrate() const;
    bool getCanTerm() const;

private:
    BareboxConfig canConfig;
};
