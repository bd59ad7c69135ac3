"""The text of /etc/network/interfaces as the daemon writes it."""

HEAD = """\
#/etc/network/interfaces automatically updated by nodekeep, changes might be lost!
auto lo can0
#loopback interface
iface lo inet loopback
#ethernet
"""
TAIL = """
iface can0 inet static
 address 127.24.23.180
 netmask 255.255.255.0
 pre-up /etc/network/can-pre-up
"""
DHCP_STANZA = "iface eth0 inet dhcp\n"


def interfaces_file(stanza):
    """The whole file with this stanza of the Ethernet port."""
    return HEAD + stanza + TAIL


def static_stanza(address="10.1.2.3", netmask="255.0.0.0", gateway="10.0.0.1", nameserver="9.9.9.9"):
    return (
        f"iface eth0 inet static\n   address {address}\n   netmask {netmask}\n   gateway {gateway}\n"
        f"   #nameserver {nameserver}\n"
    )
