"""The objects that are always on the bus: each path with the one interface of its own."""

INTERFACES = {
    "/version": "local.Version",
    "/testsystemevent": "local.qmz.SystemEvent",
    "/system": "local.System",
    "/system/can": "local.CanInterface",
    "/system/can/canconfig": "local.BareboxConfig",
    "/system/constants": "local.Constants",
    "/system/syslog": "local.LogConfig",
    "/system/guiLevel1": "local.BareboxConfig",
    "/system/guiLevel2": "local.BareboxConfig",
    "/system/guiLevel3": "local.BareboxConfig",
    "/system/guiSystem": "local.BareboxConfig",
    "/system/network": "local.NetworkInterface",
    "/system/time": "local.Systemtime",
    "/system/time/ntp": "local.NtpConfig",
    "/system/variables": "local.BareboxConfig",
    "/loader": "local.FwUpdateSettings",
    "/loader/boot": "local.BareboxConfig",
    "/loader/config": "local.BareboxConfig",
    "/loader/system": "local.BareboxConfig",
}
