// What the server tells of a frame that differs in parts from one that the page holds.

const HEAD = 12;   // bytes that tell how many blocks, alphas and colours follow
const BLOCK = 32;  // pixels beside each other, of which it is told together what differs
const TILE = {width: 2 * BLOCK, height: 32};

/** Tiles of the picture in which something differs. */
class Tiles {
    #across;
    #marks;

    constructor({width, height}) {
        Object.assign(this, {width, height});
        this.#across = Math.ceil(width / TILE.width);
        this.#marks = new Uint8Array(this.#across * Math.ceil(height / TILE.height));
    }

    mark(x, y) {
        this.#marks[Math.floor(y / TILE.height) * this.#across + Math.floor(x / TILE.width)] = 1;
    }

    /** The boxes that they make up: [left, top, right, bottom] in pixels. */
    boxes() {
        const found = [];
        for (let at = 0; at < this.#marks.length; ++at) {
            if (!this.#marks[at]) continue;
            const first = at % this.#across, top = (at - first) / this.#across * TILE.height;
            let end = first + 1;
            while (end < this.#across && this.#marks[at + end - first]) ++end;
            at += end - first - 1;
            found.push([first * TILE.width, top, Math.min(end * TILE.width, this.width), Math.min(top + TILE.height, this.height)]);
        }
        return found;
    }
}

/**
 * Puts into the pixels of {width, height, pixels} what differs, as the server codes it: how many
 * blocks, alphas and colours there are; for each block its number and which of its pixels have
 * another alpha and another colour; these alphas; these colours. Answers the boxes that hold it all,
 * or null for what is no such code.
 */
export function applyChanges(code, frame) {
    const {width, height, pixels} = frame;
    const [count, alphas, colors] = new Uint32Array(code, 0, 3);
    if (code.byteLength !== HEAD + count * 12 + alphas * 2 + colors * 6) return null;
    const blocks = new Uint32Array(code, HEAD, count * 3);
    const values = new Uint16Array(code, HEAD + count * 12);
    const tiles = new Tiles(frame), across = Math.ceil(width / BLOCK);
    if (count && blocks[(count - 1) * 3] >= across * height) return null;
    let nextAlpha = 0, nextColor = alphas;
    for (let block = 0; block < blocks.length; block += 3) {
        const number = blocks[block], y = Math.floor(number / across), x = (number - y * across) * BLOCK;
        const first = (y * width + x) * 4;
        tiles.mark(x, y);
        for (let left = blocks[block + 1]; left; left &= left - 1)
            pixels[first + ((31 - Math.clz32(left & -left)) << 2) + 3] = values[nextAlpha++];
        for (let left = blocks[block + 2]; left; left &= left - 1) {
            const at = first + ((31 - Math.clz32(left & -left)) << 2);
            pixels[at] = values[nextColor++];
            pixels[at + 1] = values[nextColor++];
            pixels[at + 2] = values[nextColor++];
        }
    }
    return tiles.boxes();
}
