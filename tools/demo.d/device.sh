# A device comes up with its objects, its name can be changed, its boot variables can be read.
# shellcheck shell=bash

step "A device starts, from a flash image with a boot environment"
steer start --install "$install"
run bareboxenv -l /tmp/flash /dev/mtdblock1
run cat /tmp/flash/config
gives "$(cat device/default-env/config)"

step "The object tree"
run busctl tree "$service"
answer=$(grep -o '/.*' <<<"$answer")
gives /loader /loader/boot /loader/config /loader/system \
    /system /system/can /system/can/canconfig /system/constants \
    /system/guiLevel1 /system/guiLevel2 /system/guiLevel3 /system/guiSystem \
    /system/network /system/syslog /system/time /system/time/ntp /system/variables \
    /testsystemevent /version

step "Which build runs"
get /version local.Version version
gives_like 's "?*"'

step "The host name: read, changed, refused"
get /system local.System hostname
gives 's "node-4711"'
put /system local.System hostname s mill-7
event SystemEvent.deviceNameChange '"mill-7","/"'
get /system local.System hostname
gives 's "mill-7"'
run cat /etc/hostname /proc/sys/kernel/hostname
gives mill-7 mill-7
put /system local.System hostname s mill_7
event SystemEvent.hostnameInvalid '"mill_7","mill-7","/system"'
get /system local.System hostname
gives 's "mill-7"'
run cat /etc/hostname /proc/sys/kernel/hostname
gives mill-7 mill-7

step "A boot variable, as stored with its quotes and without them"
call /loader/system local.BareboxConfig get s serial
gives 's "\"4711-0815\""'
call /loader/system local.BareboxConfig getTrimmed s serial
gives 's "4711-0815"'
