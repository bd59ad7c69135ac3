# What class tests can't do where an emulator of single programs runs them, as GoogleTest names it.
set(not_emulated
    # They start themselves anew, as a program of the machine's own processor.
    BusSignalTest.RefusalEndsTheProcessWithItsWords
    NtpConfigDeathTest.*
    # The emulator knows no options of CAN sockets.
    CanErrorListenerTest.WithoutPortItIsSilentAndKeepsTheCause
    # With times of 32 bits in Qt and of 64 in the daemon, they read the clock in two ways, of which one is held.
    SystemtimeClockTest.TimeBeyondAChangeOfDaylightSavingLandsAnHourOff
    *SystemtimeZonesTest.*
    # Emulated, its many scans take longer than it waits.
    FirmwareScanRaceTest.ScansUploadsDeletionsAndMountsAtTheSameTime)
