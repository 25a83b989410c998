// Small helpers for building the page's elements.

const SVG = 'http://www.w3.org/2000/svg';

function fill(node, properties, children) {
    for (const [name, value] of Object.entries(properties)) {
        if (value === undefined || value === null || value === false) continue;
        if (name === 'on') {
            for (const [event, handler] of Object.entries(value)) node.addEventListener(event, handler);
        } else if (name === 'style') {
            for (const [key, text] of Object.entries(value)) node.style.setProperty(key, text);
        } else {
            node.setAttribute(name, value === true ? '' : value);
        }
    }
    node.append(...children.filter((child) => child !== null && child !== undefined));
    return node;
}

/** An HTML element: attributes by name, `on` for events, `style` for CSS properties. */
export function make(tag, properties = {}, ...children) {
    return fill(document.createElement(tag), properties, children);
}

/** An SVG element, as `make` makes HTML ones. */
export function draw(tag, properties = {}, ...children) {
    return fill(document.createElementNS(SVG, tag), properties, children);
}

/** One of the symbols of index.html. */
export function icon(name) {
    return draw('svg', {class: 'icon', 'aria-hidden': 'true'}, draw('use', {href: `#icon-${name}`}));
}

/** A button with a symbol or a word; `label` is its name for everyone who cannot see it. */
export function button({label, text, symbol, keys, onClick, ...rest}) {
    const title = keys ? `${label} (${keys})` : label;
    const names = {type: 'button', title, 'aria-label': text === label ? undefined : label};
    const node = make('button', {...names, ...rest, on: {click: onClick}});
    if (symbol) node.append(icon(symbol));
    if (text) node.append(text);
    return node;
}

/** A button that stays pressed or not. */
export function toggle(options) {
    const node = button(options);
    node.setAttribute('aria-pressed', 'false');
    return node;
}

/**
 * A row of choices of which one holds; `choices` are {value, label, text, keys}. Arrow keys move
 * within it, as in a native radio group. Returns {node, show(value)}.
 */
export function segmented({label, choices, onChoose, ...rest}) {
    const node = make('div', {role: 'radiogroup', 'aria-label': label, class: 'segments', ...rest});
    const parts = choices.map((choice) => button({
        label: choice.label, text: choice.text ?? choice.label, keys: choice.keys,
        role: 'radio', 'data-value': choice.value, 'aria-checked': 'false', tabindex: '-1',
        onClick: () => onChoose(choice.value),
    }));
    node.append(...parts);
    node.addEventListener('keydown', (event) => {
        const step = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1}[event.key];
        if (!step) return;
        const at = parts.indexOf(document.activeElement);
        const next = parts[(at + step + parts.length) % parts.length];
        next.focus();
        next.click();
        event.preventDefault();
        event.stopPropagation();
    });
    const show = (value) => parts.forEach((part, i) => {
        const checked = choices[i].value === value;
        part.setAttribute('aria-checked', String(checked));
        part.tabIndex = checked ? 0 : -1;
    });
    return {node, show};
}

/** A native list of choices with its label; returns {node, select}. */
export function chooser({label, choices, onChoose, id}) {
    const select = make('select', {id, on: {change: () => onChoose(select.value)}},
        ...choices.map(([value, text]) => make('option', {value}, text)));
    return {node: make('label', {class: 'chooser'}, make('span', {}, label), select), select};
}

/** Whether keys that are typed go into a text, so that they are no commands. */
export function takesText(node) {
    if (!(node instanceof HTMLElement)) return false;
    if (node.tagName === 'TEXTAREA' || node.isContentEditable) return true;
    return node.tagName === 'INPUT' && !['range', 'checkbox', 'radio', 'color', 'button'].includes(node.type);
}

/** Gives an element its text; the page is laid out anew only where that is another one. */
export function say(node, text) {
    if (node.textContent !== text) node.textContent = text;
}

/** Calls `work` once, when calls have stopped for this many milliseconds. */
export function later(milliseconds, work) {
    let timer = 0;
    return (...rest) => {
        clearTimeout(timer);
        timer = setTimeout(() => work(...rest), milliseconds);
    };
}
