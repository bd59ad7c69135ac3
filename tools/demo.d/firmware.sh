# A package is made, uploaded, kept and started; after both reboots the device is on it with its owner's settings.
# shellcheck shell=bash

record=local.NandUpdate

step "A firmware package, made on the spot"
mkdir "$work/public"
echo "<h1>Harvest</h1>" >"$work/public/index.html"
head -c 1M /dev/urandom >"$work/linuximage"
head -c 4M /dev/urandom >"$work/root.ubi"
device/mkpackage --linuximage "$work/linuximage" --root "$work/root.ubi" --version 4.3 --releasename Harvest \
    --min-updater-version 3 --date 2026-03-01 --public "$work/public" -o "$work/package"
tar -tvzf "$work/package" | sed 's/^/  /'
command="tar -tzf package"
answer=$(tar -tzf "$work/package")
gives firmware/ firmware/control firmware/linuximage firmware/linuximage.md5 firmware/root.ubi firmware/root.ubi.md5 \
    firmware/public/ firmware/public/index.html

# The one record of the list, as busctl prints a text.
listed='[{"path":"/loader/fwupdate0","version":"4.3","svnversion":"0","minUpdaterVer":3,'
listed+='"date":"2026-03-01","releasename":"Harvest"}]'
listed="s \"${listed//\"/\\\"}\""

# The list has the record, at once or after a scan.
harvest_is_listed() {
    run_until '*fwupdate0*' busctl call "$service" /loader $manager jsonFwUpdates
    gives "$listed"
}

step "It is uploaded to the web server and kept: the stages as events, the record"
put /loader $manager onlyUploadFirmware b true
run wget -q -O - --method=PUT --body-file=/dev/stdin http://localhost/upload/fwupdate/harvest.qmz <"$work/package"
gives_like '{"stored": *fwupdate"\]}'
for stage in 1 2 3 4; do # recognised, unpacked, the sums of both images
    event SystemEvent.firmwareUpdate "$stage,\"/\""
done
harvest_is_listed
call /loader/fwupdate0 $record releasename
gives 's "Harvest"'

step "The owner's settings: name, address, log target, a variable, PLC applications, SSH host key"
run mkdir -p /CODESYSControl /srv/codesys /srv/public
run tee /CODESYSControl/CODESYSControl.cfg <<END
[CmpApp]
Application.1=Mixer
Bootproject.RetainMismatch.Init=1
END
run sh -c "head -c 2k /dev/urandom | base64 >/etc/ssh/ssh_host_rsa_key"
connected
fix_address
put /system/syslog local.LogConfig remote_log_target s 192.168.10.9:514
call /system/variables local.BareboxConfig syncSet ss ROOM "hall 3"
gives
run sha256sum /etc/ssh/ssh_host_rsa_key
host_key_sum=$answer

# What an update has to carry over.
settings_are_the_owners() {
    get /system local.System hostname
    gives 's "mill-7"'
    run cat /etc/hostname
    gives mill-7
    port_is 192.168.10.7 false 192.168.10.2
    get /system/syslog local.LogConfig remote_log_target
    gives 's "192.168.10.9:514"'
    call /system/variables local.BareboxConfig get s ROOM
    gives 's "hall 3"'
    run busctl call com.ozt.codesys / com.ozt.codesys apps
    gives 'as 1 "Mixer"'
    run sha256sum /etc/ssh/ssh_host_rsa_key
    gives "$host_key_sum"
}
settings_are_the_owners

# The start of this device, the reboot into the update, the reboot that ends the first start.
has_booted_thrice() { [[ $(device status) == *boots:*3 ]]; }

step "The update: the daemon reboots the device, the boot stage flashes, the first start reboots once more"
get /system local.System oztversion
gives 's "4.2.0"'
call /loader/fwupdate0 $record startUpdate
gives
wait_for "both reboots" has_booted_thrice
command="the boot stage"
answer=$(tac "$state/log/device.log" | sed 's/^[^ ]* //; /^boot 1$/q' | tac)
sed 's/^/  boot stage: /' <<<"$answer"
gives 'boot 1' 'reboot asked for' 'the daemon ended with status -15' 'boot 2' 'installing firmware fwupdate0' \
    'reboot asked for' 'the daemon ended with status -15' 'boot 3'

step "The device is up on the new version, an ordinary start"
get_until '*' /system local.System oztversion
gives 's "4.3"'
for property in factoryInit fwUpdated updateFailed; do
    get /loader $manager $property
    gives 'b false'
done
harvest_is_listed

step "The settings have come along, and the firmware's public files are in place"
get_until 's "192.168.10.7"' $port $interface ipaddress
settings_are_the_owners
run cat /srv/public/index.html
gives '<h1>Harvest</h1>'
has_booted_thrice || fail "expected no further boot, came $(device status)"
