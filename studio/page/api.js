// All that is asked of the server.

/** This page's name among those that the server knows. */
export const client = Array.from(crypto.getRandomValues(new Uint8Array(8)), (byte) => byte.toString(16).padStart(2, '0')).join('');

/** What the server refuses: its one line, with the status of the answer (0: no answer). */
export class Refusal extends Error {
    constructor(message, status, body = {}) {
        super(message);
        this.status = status;
        this.body = body;
    }
}

async function answer(path, options) {
    let response;
    try {
        response = await fetch(path, {credentials: 'same-origin', cache: 'no-store', ...options});
    } catch {
        throw new Refusal('', 0);
    }
    if (response.ok) return response;
    const body = await response.json().catch(() => ({}));
    throw new Refusal(body.error ?? `${response.status} ${response.statusText}`, response.status, body);
}

export async function get(path) {
    return (await answer(path, {})).json();
}

function sent(body, options = {}) {
    return {method: 'POST', headers: {'Content-Type': 'application/json'}, body: JSON.stringify(body), ...options};
}

/** `options` are those of fetch, such as `keepalive` for what must be sent though the page is closed. */
export async function post(path, body, options) {
    return (await answer(path, sent(body, options))).json();
}

const generations = new Map();

/**
 * A frame's pixels: 16-bit R G B A, straight, top row first. The server drops what is older of the
 * same purpose. With the generation of a frame that was got for the purpose before and is still
 * `held`, or 0, the answer may have `changes` to that instead of pixels.
 */
export async function fetchFrame(request, purpose, held = null) {
    const generation = (generations.get(purpose) ?? 0) + 1;
    generations.set(purpose, generation);
    const response = await answer('/api/frame', sent({...request, client, purpose, generation, held, channels: 'rgba'}));
    const number = (name) => Number(response.headers.get(name));
    const body = await received(response);
    const facts = {generation, width: number('X-Width'), height: number('X-Height'), scale: number('X-Scale') || 1,
        milliseconds: number('X-Milliseconds'), memory: number('X-Memory'), form: response.headers.get('X-Form') ?? ''};
    if (number('X-Held')) return {...facts, changes: body};
    if (body.byteLength !== facts.width * facts.height * 8) throw new Refusal('', 0);
    return {...facts, pixels: new Uint16Array(body)};
}

/** A body as one piece of memory, filled as it comes: the browser's own way takes it twice. */
async function received(response) {
    const all = new Uint8Array(Number(response.headers.get('Content-Length')));
    const reader = response.body.getReader();
    let at = 0;
    try {
        for (let part; !(part = await reader.read()).done; at += part.value.length) all.set(part.value, at);
    } catch {
        throw new Refusal('', 0);
    }
    if (at !== all.length) throw new Refusal('', 0);
    return all.buffer;
}

/**
 * Listens to what the server tells of its own accord. `handlers` are by event name, `lost` and
 * `back` for the connection, and `refused(refusal)` for a server that knows this page no more. It is made anew until the server answers.
 */
export function listen(handlers) {
    let lost = false;
    const connect = () => {
        const events = new EventSource('/api/events');
        for (const name of ['hello', 'render', 'work'])
            events.addEventListener(name, (event) => handlers[name]?.(JSON.parse(event.data)));
        events.onopen = () => {
            if (lost) handlers.back();
            lost = false;
        };
        events.onerror = () => {
            if (!lost) handlers.lost();
            lost = true;
            // A browser gives up for good where the server answered, but not with events.
            if (events.readyState !== EventSource.CLOSED) return;
            get('/api/status').catch(handlers.refused);
            setTimeout(connect, 2000);
        };
    };
    connect();
}
