// What the clients share: the device's bus, as the device's web server hands it on. Pages in a browser can use it too.

const SERVICE = 'com.ozt.nodekeep';
const CALL_LIMIT_MS = 120_000; // calls that write the flash answer when that is done
const UPLOAD_LIMIT_MS = 1_800_000;

/** The device does not answer, or says why it does not do what was asked. */
export class DeviceError extends Error {}

export class Device {
    /** The url is where the web server is; for a page that comes from it, document.location. */
    constructor(url) {
        this.url = url;
    }

    /** What a method returns, whose values have the types of the signature. */
    call(path, method, signature = '', ...values) {
        return this.#call(`${SERVICE}|${path}|${method}`, [signature, ...values]);
    }

    get(path, owner, name) {
        return this.call(path, 'org.freedesktop.DBus.Properties.Get', 'ss', owner, name);
    }

    /** The type of the property is that of the value. */
    set(path, owner, name, value) {
        return this.call(path, 'org.freedesktop.DBus.Properties.Set', 'ssv', owner, name, value);
    }

    /** Has the device store a file and announce it to the daemon, which goes by its kind. */
    async upload(kind, name, content) {
        const place = `/upload/${kind}/${encodeURIComponent(name)}`;
        await this.#ask(place, { method: 'PUT', body: content }, UPLOAD_LIMIT_MS);
    }

    /** Each boot has a bus of its own. A device that has gone down may never answer. */
    boot() {
        return this.#call('org.freedesktop.DBus|/|org.freedesktop.DBus.GetId', [''], 5000);
    }

    async #call(method, params, limitMs = CALL_LIMIT_MS) {
        const body = JSON.stringify({ id: 1, method, params });
        return (await this.#ask('/', { method: 'POST', body }, limitMs)).result;
    }

    async #ask(place, request, limitMs) {
        let answer;
        try {
            const signal = AbortSignal.timeout(limitMs);
            const response = await fetch(new URL(place, this.url), { ...request, signal });
            answer = await response.json();
        } catch (error) {
            throw new DeviceError(`The device does not answer at ${this.url}: ${error.cause ?? error}`);
        }
        if (answer.error) {
            throw new DeviceError(answer.error.message);
        }
        return answer;
    }
}
