# Boot variables are changed in memory, saved to the flash, and survive a power cycle.
# shellcheck shell=bash

manager=local.FwUpdateSettings

step "The settings go into the boot environment too, in memory"
run sha256sum /dev/mtdblock1
flash_sum=$answer
put $port $interface ipaddress s 192.168.1.77
put $port $interface dhcp b false
call /loader/config local.BareboxConfig getAll
gives_like 'a{sv} 11 *"eth0.ipaddr" s "192.168.1.77"*"ip" s "none"*'
run sha256sum /dev/mtdblock1
gives "$flash_sum"

step "... and to the flash when they are saved"
call /loader $manager saveEnv
gives
run sha256sum /dev/mtdblock1
gives_other_than "$flash_sum"
flash_sum=$answer
run bareboxenv -l /tmp/flash /dev/mtdblock1
run grep -e ^ip= -e ^eth0.ipaddr= /tmp/flash/config
gives ip=none eth0.ipaddr=192.168.1.77

step "Power cycle"
steer power-cycle

step "All of it is still there"
get /system local.System hostname
gives 's "mill-7"'
call /loader/config local.BareboxConfig get s eth0.ipaddr
gives 's "192.168.1.77"'
call /loader/config local.BareboxConfig get s ip
gives 's "none"'
run sha256sum /dev/mtdblock1
gives "$flash_sum"
