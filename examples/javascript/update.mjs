#!/usr/bin/node
// Brings a firmware package to the device and follows it until the device is up with it, both reboots included.
//
//   update.mjs URL PACKAGE    a file on this machine; the URL is that of the device's web server
//
// Status 1: refused, or not up again in time; 2: wrong use.

import { readFile } from 'node:fs/promises';
import { basename } from 'node:path';
import { setTimeout as sleep } from 'node:timers/promises';

import { Device, DeviceError } from './device.mjs';

const LOADER = ['/loader', 'local.FwUpdateSettings'];

function stage(number, text) {
    const line = `[${number}/6] ${text}`;
    process.stdout.write(process.stdout.isTTY ? `\r\x1b[K${line}${number === 6 ? '\n' : ''}` : `${line}\n`);
}

function fail(text, status = 1) {
    console.error(text);
    process.exit(status);
}

/** What there is to find, as soon as it is there; undefined when that takes too long. */
async function within(seconds, find) {
    for (const end = performance.now() + seconds * 1000; performance.now() < end; await sleep(200)) {
        try {
            const found = await find();
            if (found !== undefined) {
                return found;
            }
        } catch (error) {
            // It may be down, or just coming up.
            if (!(error instanceof DeviceError)) {
                throw error;
            }
        }
    }
}

/** The firmware on the device; while one is started there may be none. */
async function records(device) {
    return JSON.parse(await device.call('/loader', 'local.FwUpdateSettings.jsonFwUpdates'));
}

/** Has the device unpack and test a package, and returns the record that is made of it. */
async function keep(device, file) {
    const before = (await records(device)).map((record) => record.path);
    // Kept first, so that it can be told from one that is refused.
    await device.set(...LOADER, 'onlyUploadFirmware', true);
    stage(1, `uploading ${file}`);
    await device.upload('fwupdate', basename(file), await readFile(file));
    stage(2, 'unpacking and testing');
    return within(300, async () => (await records(device)).find((record) => !before.includes(record.path)));
}

/** The version with which the device is up with its settings. A first start ends by itself, with the second reboot. */
function upAgain(device, firstBoot) {
    let seen = firstBoot;
    return within(900, async () => {
        const boot = await device.boot();
        if (boot === firstBoot) {
            return undefined;
        }
        if (!(await device.get(...LOADER, 'factoryInit'))) {
            return device.get('/system', 'local.System', 'oztversion');
        }
        if (boot !== seen) {
            stage(5, 'first start: the settings are brought back');
        }
        seen = boot;
    });
}

const [url, file] = process.argv.slice(2);
if (!file) {
    fail('Usage: update.mjs URL PACKAGE', 2);
}
const device = new Device(url);
const boot = await device.boot();
const record = await keep(device, file);
if (!record) {
    fail('The device has refused the package: its event log tells at which step.');
}
stage(3, `starting ${record.path}, version ${record.version}`);
// Without an answer, as the device goes down.
await device.call(record.path, 'local.NandUpdate.startUpdate').catch(() => {});
const hasGoneDown = () => device.boot().then((now) => now !== boot || undefined, () => true);
if (!(await within(120, hasGoneDown))) {
    fail('The device does not go down.');
}
stage(4, 'the boot stage writes the images');
const version = await upAgain(device, boot);
if (version === undefined) {
    fail('The device does not come up.');
}
stage(6, `up with version ${version}`);
