#pragma once

#include <QObject>
#include <QTimer>

/** The passwords of the web's user levels 2 and 3, switched off for a time. Other processes see it by two bits of the
 *  shared status word. Nothing of it outlives the daemon but those bits, which stay as they are until the next call. */
class PasswordDisable : public QObject
{
    Q_OBJECT

public:
    PasswordDisable();

    /** Makes the pair getPwDisable and setPwDisable of "/system" an entry of the device's object dictionary, where
     *  there is one. */
    static void registerPwDisable();

    /** The code last given, which does not count down; 0 when no period runs. */
    uint getPwDisable() const;
    /** Switches passwords off, in place of what went before.
     *  @param disableCode bits 0 to 15: the minutes, of which a day counts at most; 0 ends the period.
     *                     Bit 16: level 2, bit 17: level 3. Without a level the code is kept until the next call. */
    void setPwDisable(uint disableCode);

public Q_SLOTS:
    /** The period is over. */
    void pwDisableTimeout();

private:
    void showPwDisable() const;

    quint32 pwDisableCode = 0;
    QTimer pwDisableTimer{this};
};
