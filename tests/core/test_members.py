"""Every member of every object, as clients see it: name, signature and access, in order."""

import pytest
from busclient import input_signature
from objecttree import INTERFACES

MEMBERS = {
    "local.FwUpdateSettings": """
        property updateFailed b read
        property onlyUploadFirmware b readwrite
        property factoryInit b read
        property fwUpdated b read
        signal scan()
        method lookupConfig(s) -> b
        method addConfig(s)
        method delConfig(s) -> b
        method getEnv(s) -> s
        method setEnv(ss)
        method setIp(s)
        method setGateway(s)
        method setNetmask(s)
        method setDhcp(b)
        method loadEnv()
        method saveEnv()
        method saveEnvNoRestore()
        method armReboot()
        method reboot()
        method getUpdateFailed() -> b
        method getFactoryInit() -> b
        method getFwUpdated() -> b
        method createCodesysTarball() -> s
        method restoreCodesysFromTarball(s) -> b
        method restartCodesys()
        method cleanupFirmwareUpdates() -> b
        method startUpdateNand(s)
        method startUpdateHttp(s)
        method startUpdateHttp()
        method jsonFwUpdates() -> s
    """,
    "local.BareboxConfig": """
        method set(ss)
        method syncSet(ss)
        method get(s) -> s
        method getTrimmed(s) -> s
        method exists(s) -> b
        method variableList() -> as
        method getAll() -> a{sv}
        method save()
    """,
    "local.System": """
        property hostname s readwrite
        property oztversion s read
        property oztsvnversion s read
        property oztgitversion s read
        property oztgithash s read
        property oztReleasename s read
        property oztBuildtime s read
        method resetWebPassword(s) -> b
        method resetCodesys() -> b
        method startMeascardLedSignaling(i)
        method remoteMeascardLedSingaling(is)
        method deleteAllCertificates() -> i
        method getPwDisable() -> u
        method setPwDisable(u)
    """,
    "local.CanInterface": """
        property baudrate i readwrite
        property termination b readwrite
        property restart_ms u readwrite
        method getActualBaudrate() -> i
        method getCanBaudrate() -> i
        method getCanTerm() -> b
    """,
    "local.Constants": """
        method set(ss) -> b
        method get(s) -> s
        method variableList() -> as
        method isAvailable(s) -> b
    """,
    "local.NetworkInterface": """
        property ipaddress s readwrite
        property netmask s readwrite
        property gateway s readwrite
        property dhcp b readwrite
        property nameserver s readwrite
        property macaddress s read
        method getCurrentSettings()
        method saveChanges() -> b
        method connmanServicePropertyChanged(sv)
        method getHostname() -> s
    """,
    "local.LogConfig": """
        property log_local b readwrite
        property remote_log_target s readwrite
        property log_size_kb i readwrite
        method getLocal() -> b
        method setLocal(b)
        method getRemote() -> s
        method setRemote(s)
        method getLogFileSize() -> i
        method setLogFileSize(i)
    """,
    "local.Systemtime": """
        property timezone s readwrite
        method getSystemTime() -> x
        method getSystemTimeUtc() -> x
        method getSytemTimeAsText() -> s
        method setSystemTime(t)
        method setSystemTimeUtc(t)
        method systemTimeToHwClock()
        method hwClockToSystemTime()
        method getHwTimeAsText() -> s
        method jsonTimeinfo() -> s
        method jsonTimezones() -> s
    """,
    "local.NtpConfig": """
        property server s readwrite
        property dhcpServer s read
        method getUsedNtpServer() -> as
        method setNtpServer(s)
    """,
    "local.qmz.SystemEvent": """
        method firmwareUpdate(is)
        method canError(sis)
        method firmwareDeleted(s)
        method reboot(s)
        method codesysFileRemoved(ss)
        method deviceNameChange(ss)
        method hostnameInvalid(sss)
        method networkAddressChange(ss)
        method pwResetSuccessful(s)
        method pwResetVerifyFailed(s)
        method pwResetFormatError(s)
        method pwResetFileError(s)
        method pwResetHostnameError(s)
        method pwResetMacError(s)
    """,
    "local.Version": """
        property version s read
        property githash s read
    """,
}


def described(member):
    arguments = member.iterfind("arg")
    match member.tag:
        case "property":
            return f"property {member.get('name')} {member.get('type')} {member.get('access')}"
        case "signal":
            return f"signal {member.get('name')}({''.join(each.get('type') for each in arguments)})"
        case "method":
            result = "".join(each.get("type") for each in arguments if each.get("direction") == "out")
            return f"method {member.get('name')}({input_signature(member)})" + (f" -> {result}" if result else "")


@pytest.mark.parametrize("path", INTERFACES)
def test_an_object_has_these_members_and_no_others(client, path):
    ((name, interface),) = client.interfaces(path).items()

    assert [described(member) for member in interface] == MEMBERS[name].strip().split("\n        ")


def test_the_table_is_about_objects_that_are_there():
    assert set(MEMBERS) == set(INTERFACES.values())
