// One slider of the panel: drag anywhere on its row, type its number, or use the keys.

import {button, make} from './dom.js';
import {texts} from './texts.js';

const STEP_COARSE = 10;
const THUMB = 8;  // pixels that the handle is wide; its middle is the value

/**
 * `options`: id, label, help, min, max, unit, `onInput(value)` for each value that is chosen and
 * `onDrag(isDragging)`. Returns {node, input, show({value, standard, tuned, disabled})}.
 */
export function slider(options) {
    const {id, label, help, min, max, unit, onInput, onDrag} = options;
    const state = {value: min, standard: min, tuned: null};
    const clamp = (value) => Math.min(Math.max(Math.round(value), min), max);
    const share = (value) => `calc(${THUMB / 2}px + ${(value - min) / (max - min)} * (100% - ${THUMB}px))`;
    const choose = (value) => {
        if (clamp(value) !== state.value && !input.disabled) onInput(clamp(value));
    };
    const input = make('input', {type: 'range', id, min, max, step: 1, on: {input: () => choose(Number(input.value))}});
    const marks = {standard: make('span', {class: 'mark standard'}), tuned: make('span', {class: 'mark tuned'})};
    const track = make('div', {class: 'track'}, input, marks.standard, marks.tuned);
    const number = numberField(`${label}: ${texts.value}`, state, {min, max, choose});
    const reset = button({label: texts.resetTo(label), symbol: 'reset', class: 'quiet reset',
        onClick: (event) => choose(event.ctrlKey ? state.tuned : state.standard)});
    const node = make('div', {class: 'row slider', title: help}, make('label', {for: id}, label), track, number, reset);
    dragged(node, track, input, {state, min, max, choose, onDrag});
    byKeys(input, number, {state, min, max, choose});
    return {node, input, show};

    function show({value, standard, tuned, disabled}) {
        Object.assign(state, {value, standard, tuned});
        input.value = value;
        input.style.setProperty('--share', share(value));
        input.style.setProperty('--from', share(clamp(0)));
        input.setAttribute('aria-valuetext', unit ? `${value} ${unit}` : `${value}`);
        if (document.activeElement !== number || Number(number.value) !== value) number.value = value;
        number.removeAttribute('aria-invalid');
        marks.standard.style.left = share(standard);
        marks.tuned.style.left = share(tuned);
        marks.tuned.hidden = tuned === standard;
        marks.standard.title = texts.standardValue(standard);
        marks.tuned.title = texts.tunedValue(tuned);
        for (const part of [input, number]) part.disabled = disabled;
        reset.disabled = disabled || value === standard;
        node.classList.toggle('disabled', disabled);
        node.classList.toggle('changed', value !== standard);
    }
}

/** Pressing the track goes there; from then on, and from elsewhere on the row, values follow the hand. */
function dragged(node, track, input, {state, min, max, choose, onDrag}) {
    const press = (event) => {
        if (event.button !== 0 || input.disabled || event.target.closest('button, .number')) return;
        event.preventDefault();
        input.focus({preventScroll: true});
        const box = track.getBoundingClientRect();
        const perPixel = (max - min) / (box.width - THUMB);
        let exact = state.value, x = event.clientX;
        const jumps = track.contains(event.target) && !event.shiftKey && !event.ctrlKey;
        onDrag(true);
        if (jumps) choose(exact = Math.min(Math.max(min + (x - box.left - THUMB / 2) * perPixel, min), max));
        node.setPointerCapture(event.pointerId);
        const move = (at) => {
            exact += (at.clientX - x) * perPixel * (at.shiftKey ? STEP_COARSE : at.ctrlKey ? 0.1 : 1);
            exact = Math.min(Math.max(exact, min), max);
            x = at.clientX;
            choose(exact);
        };
        const end = () => {
            node.removeEventListener('pointermove', move);
            onDrag(false);
        };
        node.addEventListener('pointermove', move);
        node.addEventListener('lostpointercapture', end, {once: true});
    };
    node.addEventListener('pointerdown', press);
    node.addEventListener('dblclick', (event) => {
        if (!event.target.closest('button, .number')) choose(event.ctrlKey ? state.tuned : state.standard);
    });
    input.addEventListener('wheel', (event) => {
        if (document.activeElement !== input) return;
        event.preventDefault();
        choose(state.value - Math.sign(event.deltaY) * (event.shiftKey ? STEP_COARSE : 1));
    }, {passive: false});
}

/** The keys of a slider as assistive technology expects them; digits go to the number at once. */
function byKeys(input, number, {state, min, max, choose}) {
    input.addEventListener('keydown', (event) => {
        if (event.altKey || event.metaKey || event.ctrlKey) return;
        const step = event.shiftKey ? STEP_COARSE : 1;
        const moves = {ArrowRight: step, ArrowUp: step, ArrowLeft: -step, ArrowDown: -step,
            PageUp: STEP_COARSE, PageDown: -STEP_COARSE, Home: min - state.value, End: max - state.value};
        if (event.key in moves) {
            choose(state.value + moves[event.key]);
        } else if (/^[0-9-]$/.test(event.key)) {
            number.focus();
            number.value = '';
            return event.stopPropagation();  // the digit itself is typed into the number
        } else {
            return;
        }
        event.preventDefault();
        event.stopPropagation();
    });
}

function numberField(label, state, {min, max, choose}) {
    let before = 0;
    const field = make('input', {type: 'text', inputmode: 'numeric', class: 'number', 'aria-label': label, autocomplete: 'off'});
    const read = () => {
        const value = Number(field.value);
        const valid = /^-?\d+$/.test(field.value.trim()) && value >= min && value <= max;
        field.toggleAttribute('aria-invalid', !valid);
        if (valid) choose(value);
        else field.title = texts.allowed(min, max);
    };
    field.addEventListener('focus', () => {
        before = state.value;
        field.select();
    });
    field.addEventListener('input', read);
    field.addEventListener('blur', () => { field.value = state.value; field.removeAttribute('aria-invalid'); });
    field.addEventListener('keydown', (event) => {
        const step = {ArrowUp: 1, ArrowDown: -1}[event.key];
        if (step) choose(state.value + step * (event.shiftKey ? STEP_COARSE : 1));
        else if (event.key === 'Escape') choose(before);
        else if (event.key !== 'Enter') return;
        field.value = state.value;
        field.select();
        event.preventDefault();
    });
    return field;
}
