// Frames on a canvas by WebGL2, as integer textures.

import {fragment, vertex} from './shader.js';

const UNITS = {uShown: 0, uSource: 1, uOther: 2, uBackdrop: 3};

function compiled(gl, type, text) {
    const shader = gl.createShader(type);
    gl.shaderSource(shader, text);
    gl.compileShader(shader);
    if (!gl.getShaderParameter(shader, gl.COMPILE_STATUS) && !gl.isContextLost())
        throw new Error(gl.getShaderInfoLog(shader));
    return shader;
}

export class Painter {
    #gl;
    #programs = new Map();
    #textures = new Map();
    #frames = new Map();
    #standing = null;  // what the canvas was last painted with
    #stale = [];       // parts of the picture that have changed since, of 0 to 1

    /** Throws where the browser has no WebGL2. `restored` is called when a lost device is back. */
    constructor(canvas, restored) {
        this.canvas = canvas;
        this.#gl = canvas.getContext('webgl2', {antialias: false, depth: false, preserveDrawingBuffer: true, powerPreference: 'high-performance'});
        if (!this.#gl) throw new Error('WebGL2');
        this.#begin();
        canvas.addEventListener('webglcontextlost', (event) => event.preventDefault());
        canvas.addEventListener('webglcontextrestored', () => {
            this.#textures.clear();
            this.#begin();
            for (const [name, frame] of this.#frames) this.#upload(name, frame);
            restored();
        });
    }

    get largest() {
        return this.#gl.getParameter(this.#gl.MAX_TEXTURE_SIZE);
    }

    #begin() {
        const gl = this.#gl;
        gl.pixelStorei(gl.UNPACK_ALIGNMENT, 2);
        gl.bindBuffer(gl.ARRAY_BUFFER, gl.createBuffer());
        gl.enableVertexAttribArray(0);
        gl.vertexAttribPointer(0, 4, gl.FLOAT, false, 0, 0);
        gl.vertexAttribDivisor(0, 1);
        this.#programs.clear();
        this.#standing = null;
        const empty = {width: 1, height: 1, pixels: new Uint16Array(4)};
        for (const name of Object.keys(UNITS)) this.#upload(name, this.#frames.get(name) ?? empty);
    }

    /** The program for constants, made when it is first needed. */
    #programFor(constants) {
        const key = JSON.stringify(constants);
        if (!this.#programs.has(key)) this.#programs.set(key, this.#link(constants));
        return this.#programs.get(key);
    }

    #link(constants) {
        const gl = this.#gl;
        const id = gl.createProgram();
        gl.attachShader(id, compiled(gl, gl.VERTEX_SHADER, vertex));
        gl.attachShader(id, compiled(gl, gl.FRAGMENT_SHADER, fragment(constants)));
        gl.linkProgram(id);
        const places = new Map();
        const count = gl.getProgramParameter(id, gl.ACTIVE_UNIFORMS) ?? 0;
        for (let i = 0; i < count; ++i) {
            const {name, type} = gl.getActiveUniform(id, i);
            places.set(name, {type, at: gl.getUniformLocation(id, name)});
        }
        return {id, places};
    }

    #upload(name, frame) {
        const gl = this.#gl, {width, height, pixels} = frame;
        gl.activeTexture(gl.TEXTURE0 + UNITS[name]);
        const texture = this.#textureFor(name, width, height);
        const boxes = texture.generation !== null && texture.generation === frame.changed?.since ? frame.changed.boxes : null;
        texture.generation = frame.generation ?? null;
        if (!boxes) {
            gl.texSubImage2D(gl.TEXTURE_2D, 0, 0, 0, width, height, gl.RGBA_INTEGER, gl.UNSIGNED_SHORT, pixels);
            this.#standing = null;
            return;
        }
        gl.pixelStorei(gl.UNPACK_ROW_LENGTH, width);
        for (const [left, top, right, bottom] of boxes)
            gl.texSubImage2D(gl.TEXTURE_2D, 0, left, top, right - left, bottom - top, gl.RGBA_INTEGER, gl.UNSIGNED_SHORT, pixels, (top * width + left) * 4);
        gl.pixelStorei(gl.UNPACK_ROW_LENGTH, 0);
        this.#stale.push(...boxes.map((box) => box.map((side, i) => side / (i % 2 ? height : width))));
    }

    #textureFor(name, width, height) {
        const gl = this.#gl, known = this.#textures.get(name);
        if (known?.width === width && known.height === height) return known;
        if (known) gl.deleteTexture(known.id);
        const texture = {id: gl.createTexture(), width, height, generation: null};
        this.#textures.set(name, texture);
        gl.bindTexture(gl.TEXTURE_2D, texture.id);
        gl.texStorage2D(gl.TEXTURE_2D, 1, gl.RGBA16UI, width, height);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.NEAREST);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MAG_FILTER, gl.NEAREST);
        return texture;
    }

    /** Holds a frame as 'uShown', 'uSource', 'uOther' or 'uBackdrop'. */
    hold(name, frame) {
        if (this.#frames.get(name) === frame) return;
        this.#frames.set(name, frame);
        this.#upload(name, frame);
    }

    holds(name) {
        return this.#frames.has(name);
    }

    /** Forgets the frames, as when another shot is opened. */
    clear() {
        this.#frames.clear();
        this.#standing = null;
        this.#clear();
    }

    #set({type, at}, value) {
        const gl = this.#gl;
        if (type === gl.FLOAT) gl.uniform1f(at, value);
        else if (type === gl.FLOAT_VEC2) gl.uniform2fv(at, value);
        else if (type === gl.FLOAT_VEC3) gl.uniform3fv(at, value);
        else if (type === gl.FLOAT_MAT4) gl.uniformMatrix4fv(at, true, value);
        else gl.uniform1i(at, value);
    }

    /**
     * Paints the picture into a box of the canvas ([left, top, right, bottom]) and leaves the rest
     * clear. What stands there already is painted only where frames have changed; `reach` tells how
     * many device pixels around a change look different, too.
     */
    paint(constants, uniforms, box, reach) {
        const gl = this.#gl, {width, height} = this.canvas;
        if (gl.isContextLost()) return;
        const wanted = JSON.stringify([constants, uniforms, box, width, height]);
        const boxes = wanted === this.#standing ? this.#stale.map((part) => placed(part, box, reach)) : [box];
        const isWhole = wanted !== this.#standing;
        this.#standing = wanted;
        this.#stale = [];
        if (boxes.length === 0) return;
        const program = this.#programFor(constants);
        gl.useProgram(program.id);
        for (const [name, value] of Object.entries({...uniforms, ...UNITS, uCanvas: [width, height]})) {
            const place = program.places.get(name);
            if (place) this.#set(place, value);
        }
        gl.viewport(0, 0, width, height);
        if (isWhole) this.#clear();
        this.#draw(boxes, box);
    }

    #clear() {
        const gl = this.#gl;
        gl.disable(gl.SCISSOR_TEST);
        gl.clearColor(0, 0, 0, 0);
        gl.clear(gl.COLOR_BUFFER_BIT);
    }

    #draw(boxes, within) {
        const gl = this.#gl, {width, height} = this.canvas;
        const [left, top, right, bottom] = within.map((side, i) => Math.min(Math.max(Math.round(side), 0), i % 2 ? height : width));
        gl.enable(gl.SCISSOR_TEST);
        gl.scissor(left, height - bottom, right - left, bottom - top);
        gl.bufferData(gl.ARRAY_BUFFER, new Float32Array(boxes.flat()), gl.STREAM_DRAW);
        gl.drawArraysInstanced(gl.TRIANGLE_STRIP, 0, 4, boxes.length);
    }
}

/** Whole device pixels around a part of the picture (of 0 to 1) that lies in a box. */
function placed(part, [left, top, right, bottom], reach) {
    const [x, y] = [(at) => left + at * (right - left), (at) => top + at * (bottom - top)];
    return [Math.floor(x(part[0]) - reach), Math.floor(y(part[1]) - reach), Math.ceil(x(part[2]) + reach), Math.ceil(y(part[3]) + reach)];
}
