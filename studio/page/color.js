// Colours as text: "#rrggbb" or, with 16 bits a channel, "#rrrrggggbbbb".

/** Red, green and blue as 16-bit integers, or null for another text. */
export function parseColor(text) {
    const digits = /^#([0-9a-f]{6}|[0-9a-f]{12})$/i.exec(text ?? '')?.[1];
    if (!digits) return null;
    const size = digits.length / 3;
    return [0, 1, 2].map((i) => parseInt(digits.slice(i * size, (i + 1) * size), 16) * (size === 2 ? 257 : 1));
}

/** The nearest colour of 8 bits a channel, as a screen shows it. */
export function cssColor([red, green, blue]) {
    return '#' + [red, green, blue].map((part) => Math.round(part / 257).toString(16).padStart(2, '0')).join('');
}

export const asFloat = (value) => (value / 65535).toFixed(4);

export const asHex = (value) => Math.round(value).toString(16).padStart(4, '0');
