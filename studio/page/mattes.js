// The sections of drawn mattes and of the clean plate.

import {post} from './api.js';
import {button, make, toggle} from './dom.js';
import {chooseFile} from './files.js';
import {PURPOSES} from './pen.js';
import {addKey} from './shapes.js';
import {slider} from './slider.js';
import {texts} from './texts.js';

const MOST_FEATHER = 200;  // pixels on the slider; files may hold more

export class MattesSection {
    #store;
    #pen;
    #messages;
    #list = make('div', {class: 'shapelist'});

    constructor(node, store, pen, timeline, messages) {
        Object.assign(this, {timeline});
        this.#store = store;
        this.#pen = pen;
        this.#messages = messages;
        const tool = (name, label, keys) => toggle({label, text: label, keys, id: `tool-${name}`, onClick: () => store.setTool(name)});
        this.tools = new Map([...PURPOSES.map((name) => [name, tool(name, texts.draw[name])]), ['edit', tool('edit', texts.editShapes, 'm')]]);
        this.hint = make('p', {class: 'dim note'});
        node.append(make('div', {class: 'buttons'}, ...this.tools.values()), this.hint, this.#list, this.#selected(), this.#files());
        store.on('shot work tool selection frame', () => this.show());
    }

    #selected() {
        const pen = this.#pen;
        this.feather = slider({id: 'feather', label: texts.feather, help: texts.featherHelp, min: 0, max: MOST_FEATHER, unit: texts.pixels,
            onInput: (value) => pen.editSelected((shape) => { shape.feather = value; }, 'feather'), onDrag: (on) => this.#store.setDragging(on)});
        const key = (change) => () => pen.editSelected((shape) => change(shape, this.#store.frame));
        this.addKey = button({label: texts.addKeyHelp, text: texts.addKey, onClick: key(addKey)});
        this.dropKey = button({label: texts.dropKeyHelp, text: texts.dropKey, onClick: key((shape, frame) => { shape.keys = shape.keys.filter((each) => each.frame !== frame); })});
        this.remove = button({label: texts.removeShape, text: texts.removeShape, keys: 'Del', onClick: () => pen.remove()});
        this.chosen = make('div', {class: 'chosen', hidden: true}, this.feather.node, make('div', {class: 'buttons'}, this.addKey, this.dropKey, this.remove));
        return this.chosen;
    }

    /** Mattes from files, in place of drawn ones, and drawings kept in files. */
    #files() {
        const box = make('div', {class: 'filelines'});
        this.fileLines = new Map(PURPOSES.map((purpose) => {
            const line = {name: make('span', {class: 'dim filename'}), save: button({label: texts.saveDrawing[purpose], text: texts.save, class: 'quiet', onClick: () => this.#saveDrawing(purpose)})};
            line.drop = button({label: texts.removeFile, symbol: 'close', class: 'quiet', onClick: () => this.#setFile(purpose, null)});
            line.open = button({label: texts.matteFile[purpose], text: texts.file, class: 'quiet', onClick: () => this.#openFile(purpose)});
            box.append(make('div', {class: 'fileline'}, make('span', {}, texts.purposes[purpose]), line.name, line.drop, line.open, line.save));
            return [purpose, line];
        }));
        return box;
    }

    #setFile(purpose, path, svg = null) {
        this.#store.change((work) => {
            work.inputs[`${purpose}File`] = path;
            work.inputs[purpose] = svg;
        });
    }

    async #openFile(purpose) {
        const path = await chooseFile({title: texts.matteFile[purpose], kinds: ['still', 'sequence', 'video', 'shapes']});
        if (!path) return;
        if (!path.endsWith('.svg')) return this.#setFile(purpose, path);
        const answer = await post('/api/matte/load', {shot: this.#store.shot.path, path, purpose}).catch(this.#messages.fail);
        if (answer) this.#setFile(purpose, null, answer.svg);
    }

    async #saveDrawing(purpose) {
        const path = await chooseFile({title: texts.saveDrawing[purpose], save: `${purpose}.svg`, kinds: ['shapes']});
        if (!path) return;
        const {shot, work} = this.#store;
        const answer = await post('/api/matte/save', {shot: shot.path, path, svg: work.inputs[purpose], purpose}).catch(this.#messages.fail);
        if (answer) this.#messages.say(texts.saved(path));
    }

    show() {
        const {work, tool, frame} = this.#store;
        if (!work) return;
        for (const [name, node] of this.tools) {
            node.setAttribute('aria-pressed', String(tool === name));
            if (name !== 'edit') node.disabled = Boolean(work.inputs[`${name}File`]);
        }
        this.hint.textContent = texts.toolHints[tool] ?? '';
        for (const [purpose, line] of this.fileLines) this.#showFile(purpose, line, work.inputs);
        this.#showList();
        const shape = this.#pen.shape;
        this.chosen.hidden = !shape;
        if (shape) {
            this.feather.show({value: Math.min(Math.round(shape.feather), MOST_FEATHER), standard: 0, tuned: 0, disabled: false});
            const isKey = shape.keys.length > 1 && shape.keys.some((key) => key.frame === frame);
            this.addKey.disabled = isKey || this.#store.shot.count === 1;
            this.dropKey.disabled = !isKey;
        }
        this.timeline.markKeys(shape && shape.keys.length > 1 ? shape.keys.map((key) => key.frame) : []);
    }

    #showFile(purpose, line, inputs) {
        const path = inputs[`${purpose}File`];
        const isForeign = inputs[purpose] !== null && this.#pen.shapes(purpose) === null;
        line.name.textContent = path ?? (isForeign ? texts.notEditable : '');
        line.name.title = path ?? '';
        line.drop.hidden = !path && !isForeign;
        line.save.hidden = !inputs[purpose];
    }

    #showList() {
        const {selected} = this.#pen;
        const items = PURPOSES.flatMap((purpose) => (this.#pen.shapes(purpose) ?? []).map((shape, index) => {
            const isSelected = selected?.purpose === purpose && selected.index === index;
            const count = shape.keys.length > 1 ? texts.keyframes(shape.keys.length) : '';
            return button({label: texts.selectShape(texts.purposes[purpose], index + 1), class: `shape ${purpose}`, 'aria-pressed': String(isSelected),
                text: `${texts.purposes[purpose]} ${index + 1}${count}`, onClick: () => {
                    if (this.#store.tool !== 'edit') this.#store.setTool('edit');
                    this.#pen.select(purpose, index);
                }});
        }));
        this.#list.replaceChildren(...items);
    }
}

export class PlateSection {
    constructor(node, store, messages) {
        Object.assign(this, {store, messages});
        this.name = make('span', {class: 'filename'});
        this.drop = button({label: texts.removePlate, symbol: 'close', class: 'quiet', onClick: () => this.#set(null)});
        this.match = make('input', {type: 'checkbox', role: 'switch', id: 'match-plate', on: {change: () => store.change((work) => { work.inputs.matchPlate = this.match.checked; })}});
        node.append(make('div', {class: 'fileline'}, this.name, this.drop),
            make('div', {class: 'buttons'},
                button({label: texts.choosePlateHelp, text: texts.choosePlate, onClick: () => this.#choose()}),
                button({label: texts.lookAtPlate, text: texts.look, onClick: () => store.look({show: 'clean-plate'})}),
                button({label: texts.savePlateHelp, text: texts.savePlate, onClick: () => this.#save()})),
            make('div', {class: 'row switch', title: texts.matchPlateHelp}, make('label', {for: 'match-plate'}, texts.matchPlate), this.match));
        store.on('work shot', () => this.show());
    }

    show() {
        const inputs = this.store.work?.inputs;
        if (!inputs) return;
        this.name.textContent = inputs.cleanPlate ?? texts.modelledPlate;
        this.drop.hidden = !inputs.cleanPlate;
        this.match.checked = inputs.matchPlate;
        this.match.disabled = !inputs.cleanPlate;
    }

    #set(path) {
        this.store.change((work) => {
            work.inputs.cleanPlate = path;
            if (!path) work.inputs.matchPlate = false;
        });
    }

    async #choose() {
        const path = await chooseFile({title: texts.choosePlateHelp});
        if (path) this.#set(path);
    }

    async #save() {
        const {shot, frame, work} = this.store;
        const path = await chooseFile({title: texts.savePlateHelp, save: 'plate.png'});
        if (!path) return;
        const {inputs, settings} = work;
        const answer = await post('/api/plate/save', {shot: shot.path, frame, settings, inputs, path}).catch(this.messages.fail);
        if (answer) this.messages.say(texts.saved(path));
    }
}
