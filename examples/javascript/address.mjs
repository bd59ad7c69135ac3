#!/usr/bin/node
// Gives the device's port an address, or has it ask for one.
//
//   address.mjs URL dhcp
//   address.mjs URL ADDRESS NETMASK GATEWAY [NAMESERVER]
//
// The URL is that of the device's web server, such as http://192.168.10.7. The device takes the address 1.5 seconds
// after saveChanges, so that who is connected through the port still sees the answer.

import { Device } from './device.mjs';

const PORT = ['/system/network', 'local.NetworkInterface'];

function fail(text, status = 1) {
    console.error(text);
    process.exit(status);
}

const [url, ...words] = process.argv.slice(2);
const isDhcp = words.join(' ') === 'dhcp';
if (!isDhcp && words.length !== 3 && words.length !== 4) {
    fail('Usage: address.mjs URL dhcp | address.mjs URL ADDRESS NETMASK GATEWAY [NAMESERVER]', 2);
}

const device = new Device(url);
if (!isDhcp) {
    const [ipaddress, netmask, gateway, nameserver = ''] = words;
    for (const [name, value] of Object.entries({ ipaddress, netmask, gateway, nameserver })) {
        await device.set(...PORT, name, value);
    }
    // A text that is no address is taken and reads back empty.
    for (const name of ['ipaddress', 'netmask', 'gateway']) {
        if (!(await device.get(...PORT, name))) {
            await device.call('/system/network', 'local.NetworkInterface.getCurrentSettings');
            fail(`One of these is no address: ${ipaddress} ${netmask} ${gateway}`);
        }
    }
}
await device.set(...PORT, 'dhcp', isDhcp);
if (!(await device.call('/system/network', 'local.NetworkInterface.saveChanges'))) {
    fail("The device can't write its interfaces file.");
}
// The boot loader has the same settings; they are in memory by now.
await device.call('/loader', 'local.FwUpdateSettings.saveEnv');
