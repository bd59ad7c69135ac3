# The port changes between DHCP and a fixed address, as the kernel, connman and the daemon see it.
# shellcheck shell=bash

port=/system/network
interface=local.NetworkInterface

connman_is_ready() {
    [[ $(device exec -- busctl call net.connman / net.connman.Manager GetServices) == *'"State" s "ready"'* ]]
}

# connected: the port has an address from the DHCP server, and the daemon has read it; it is in $lease afterwards. What
# connman reports once it is ready would undo what a client has written by then and not saved.
connected() {
    wait_for "connman to be ready" connman_is_ready
    get_until 's "192.168.10.1[0-9][0-9]"' $port $interface ipaddress
    lease=${answer#s \"} lease=${lease%\"}
}

# settled: connman has reported the new address, and the daemon has read it.
settled() { event Upstart.start '"avahi_2ddaemon",false'; }

# port_is ADDRESS DHCP NAMESERVER
port_is() {
    run_until "eth0*UP* $1/24*" ip -brief -4 addr show eth0
    run busctl --json=short get-property "$service" $port $interface ipaddress netmask gateway dhcp nameserver
    gives "{\"type\":\"s\",\"data\":\"$1\"}" \
        '{"type":"s","data":"255.255.255.0"}' \
        '{"type":"s","data":"192.168.10.1"}' \
        "{\"type\":\"b\",\"data\":$2}" \
        "{\"type\":\"s\",\"data\":\"$3\"}"
}

# save_port TOLD: the port's settings become the device's, and its users are told.
save_port() {
    call $port $interface saveChanges
    gives 'b true'
    event SystemEvent.networkAddressChange "\"$1\",\"/\""
}

# fix_address: the answer comes at once, the address 1.5 seconds later.
fix_address() {
    put $port $interface ipaddress s 192.168.10.7
    put $port $interface nameserver s 192.168.10.2
    put $port $interface dhcp b false
    save_port 192.168.10.7
    settled
    port_is 192.168.10.7 false 192.168.10.2
}

step "The port, as connman has got it from a DHCP server"
connected
port_is "$lease" true 192.168.10.1

step "A fixed address: connman has it 1.5 seconds after the client has its answer"
fix_address
run cat /etc/network/interfaces
gives '#/etc/network/interfaces automatically updated by nodekeep, changes might be lost!
auto lo can0
#loopback interface
iface lo inet loopback
#ethernet
iface eth0 inet static
   address 192.168.10.7
   netmask 255.255.255.0
   gateway 192.168.10.1
   #nameserver 192.168.10.2

iface can0 inet static
 address 127.24.23.180
 netmask 255.255.255.0
 pre-up /etc/network/can-pre-up'

step "... and back to DHCP"
put $port $interface dhcp b true
save_port DHCP
settled
connected
port_is "$lease" true 192.168.10.1
run grep eth0 /etc/network/interfaces
gives 'iface eth0 inet dhcp'
