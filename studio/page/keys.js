// Every key of the page, in one table: it runs them and it is the list that help shows.

import {make, takesText} from './dom.js';
import {dialog} from './files.js';
import {texts} from './texts.js';

/** Commands in groups: {title, entries: [{keys, text, run}]}. `l` has two meanings, by where the hand is. */
export function keyTable({store, viewer, viewbar, timeline, stage, probe, compare, openShot, renders}) {
    const zooms = [1, 2, 3, 4, 5, 6, 7, 8].map(String);
    const look = (show) => () => viewbar.choose(show);
    const {keyHelp} = texts;
    return [
        {title: texts.keyGroups.picture, entries: [
            ...['c', 'r', 'g', 'b', 'a'].map((key) => ({keys: [key], text: texts.channels[key], run: () => viewbar.channel(key)})),
            {keys: ['l'], text: keyHelp.luma, run: () => (stage.isOver && !timeline.speed ? viewbar.channel('l') : timeline.shuttle(1))},
            {keys: ['p'], text: texts.straightHelp, run: () => viewbar.togglePremultiplied()},
            {keys: ['n'], text: texts.nearestHelp, run: () => viewer.change({nearest: !viewer.look.nearest})},
            {keys: ['f'], text: texts.fit, run: () => viewer.toFit()},
            {keys: zooms, shown: '1 – 8', text: keyHelp.zoom, run: (key) => viewer.zoomTo(Number(key))},
            {keys: ['w'], text: keyHelp.wipe, run: () => viewbar.toggleWipe()},
            {keys: [], shown: 'Shift', text: keyHelp.shift},
            {keys: [], shown: 'E', text: keyHelp.exposure},
            {keys: [], shown: 'Y', text: keyHelp.gamma},
            {keys: [','], text: keyHelp.darker, run: () => viewer.change({exposure: viewer.look.exposure - 0.5})},
            {keys: ['.'], text: keyHelp.lighter, run: () => viewer.change({exposure: viewer.look.exposure + 0.5})},
            {keys: ['0'], text: texts.resetLook, run: () => viewer.resetLook()},
        ]},
        {title: texts.keyGroups.views, entries: [
            {keys: ['v'], text: keyHelp.nextView, run: () => viewbar.choose(store.view.show === 'result' ? 'matte' : 'result')},
            {keys: ['u'], text: texts.viewHelp.status, run: look('status')},
            {keys: ['d'], text: texts.viewHelp.difference, run: look('difference')},
            {keys: ['['], text: texts.backTo('A'), run: () => compare.use('A')},
            {keys: [']'], text: texts.backTo('B'), run: () => compare.use('B')},
        ]},
        {title: texts.keyGroups.time, entries: [
            {keys: [' '], shown: texts.keys.space, text: keyHelp.play, run: () => timeline.toggle()},
            {keys: ['ArrowLeft'], shown: '←', text: texts.previous, run: () => timeline.step(-1)},
            {keys: ['ArrowRight'], shown: '→', text: texts.next, run: () => timeline.step(1)},
            {keys: ['j'], text: keyHelp.back, run: () => timeline.shuttle(-1)},
            {keys: ['k'], text: keyHelp.stop, run: () => timeline.stop()},
            {keys: [], shown: 'L', text: keyHelp.forward},
            {keys: ['i'], text: texts.markIn, run: () => timeline.mark(0)},
            {keys: ['o'], text: texts.markOut, run: () => timeline.mark(1)},
            {keys: ['Home'], text: texts.first, run: () => timeline.toEnd(0)},
            {keys: ['End'], text: texts.last, run: () => timeline.toEnd(1)},
        ]},
        {title: texts.keyGroups.work, entries: [
            {keys: ['s'], text: texts.pickHelp, run: () => store.setTool('pick')},
            {keys: ['x'], text: texts.pinRegion, run: () => store.setTool('region')},
            {keys: ['t'], text: keyHelp.pin, run: () => probe.pinHere()},
            {keys: ['m'], text: texts.editShapes, run: () => store.setTool('edit')},
            {keys: ['Ctrl+z'], shown: 'Ctrl Z', text: texts.undo, run: () => store.undo()},
            {keys: ['Ctrl+y', 'Ctrl+Shift+z'], shown: 'Ctrl Y', text: texts.redo, run: () => store.redo()},
            {keys: ['Ctrl+o'], shown: 'Ctrl O', text: texts.openShot, run: openShot},
            {keys: ['Ctrl+Enter'], shown: 'Ctrl Enter', text: texts.render, run: () => renders.open()},
            {keys: ['?'], text: texts.help, run: () => showHelp()},
        ]},
    ];
}

let groups = [];

export function showHelp() {
    const entry = ({keys, shown, text}) => make('div', {class: 'keyline'}, make('kbd', {}, shown ?? keys[0].toUpperCase()), make('span', {}, text));
    const section = (title, entries) => make('section', {}, make('h2', {}, title), ...entries.map(entry));
    const hand = (lines) => lines.map(([shown, text]) => ({shown, text}));
    return dialog(texts.help, () => [make('div', {class: 'keytable'}, ...groups.map(({title, entries}) => section(title, entries)),
        section(texts.keyGroups.sliders, hand(texts.sliderHelp)), section(texts.keyGroups.mouse, hand(texts.mouseHelp)))], {wide: true});
}

function nameOf(event) {
    const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    return (event.ctrlKey || event.metaKey ? 'Ctrl+' : '') + (event.ctrlKey && event.shiftKey ? 'Shift+' : '') + key;
}

/** What an element does with keys of its own comes first. */
function keepsKey(target, key) {
    if (key === ' ' || key === 'Enter') return target.closest?.('button, select, summary, input, [role=button]');
    return target.closest?.('select') || (takesText(target) && !/^Ctrl\+(Enter|o)$/.test(key));
}

export function listenToKeys(table, isReady) {
    groups = table;
    const commands = new Map(table.flatMap(({entries}) => entries.flatMap((entry) => entry.keys.map((key) => [key, entry.run]))));
    addEventListener('keydown', (event) => {
        const name = nameOf(event);
        if (event.defaultPrevented || event.altKey || document.querySelector('dialog[open]') || keepsKey(event.target, name)) return;
        const run = commands.get(name);
        if (!run || !(isReady() || ['?', 'Ctrl+o'].includes(name))) return;
        event.preventDefault();
        run(name);
    });
    let byHand = false;
    addEventListener('pointerdown', () => { byHand = true; }, true);
    addEventListener('keydown', () => { byHand = false; }, true);
    // A list takes letters for itself while it is chosen from by keys, and no longer.
    addEventListener('change', ({target}) => { if (byHand && target.matches('select')) target.blur(); });
}
