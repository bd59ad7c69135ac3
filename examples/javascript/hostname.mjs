#!/usr/bin/node
// Tells the device's host name, or changes it.
//
//   hostname.mjs URL          tells it; the URL is that of the device's web server, such as http://192.168.10.7
//   hostname.mjs URL NAME     changes it; a name that is refused leaves the old one and ends with status 1

import { Device } from './device.mjs';

const SYSTEM = ['/system', 'local.System'];

const [url, name] = process.argv.slice(2);
if (!url) {
    console.error('Usage: hostname.mjs URL [NAME]');
    process.exit(2);
}
const device = new Device(url);
if (name === undefined) {
    console.log(await device.get(...SYSTEM, 'hostname'));
} else {
    await device.set(...SYSTEM, 'hostname', name);
    // A refusal is no error on the bus.
    const now = await device.get(...SYSTEM, 'hostname');
    if (now !== name) {
        console.error(`The device does not take the name "${name}" and stays "${now}".`);
        process.exit(1);
    }
}
