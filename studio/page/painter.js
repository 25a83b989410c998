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

    /** Throws where the browser has no WebGL2. `restored` is called when a lost device is back. */
    constructor(canvas, restored) {
        this.canvas = canvas;
        this.#gl = canvas.getContext('webgl2', {antialias: false, depth: false, alpha: true, powerPreference: 'high-performance'});
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
        this.#programs.clear();
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

    #upload(name, {width, height, pixels}) {
        const gl = this.#gl;
        gl.activeTexture(gl.TEXTURE0 + UNITS[name]);
        let texture = this.#textures.get(name);
        if (!texture || texture.width !== width || texture.height !== height) {
            if (texture) gl.deleteTexture(texture.id);
            texture = {id: gl.createTexture(), width, height};
            this.#textures.set(name, texture);
            gl.bindTexture(gl.TEXTURE_2D, texture.id);
            gl.texStorage2D(gl.TEXTURE_2D, 1, gl.RGBA16UI, width, height);
            gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.NEAREST);
            gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MAG_FILTER, gl.NEAREST);
        }
        gl.texSubImage2D(gl.TEXTURE_2D, 0, 0, 0, width, height, gl.RGBA_INTEGER, gl.UNSIGNED_SHORT, pixels);
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
        const gl = this.#gl;
        gl.clear(gl.COLOR_BUFFER_BIT);
    }

    #set({type, at}, value) {
        const gl = this.#gl;
        if (type === gl.FLOAT) gl.uniform1f(at, value);
        else if (type === gl.FLOAT_VEC2) gl.uniform2fv(at, value);
        else if (type === gl.FLOAT_VEC3) gl.uniform3fv(at, value);
        else if (type === gl.FLOAT_MAT4) gl.uniformMatrix4fv(at, true, value);
        else gl.uniform1i(at, value);
    }

    /** Paints into a box of the canvas ([left, top, right, bottom]) and leaves the rest clear. */
    paint(constants, uniforms, box) {
        const gl = this.#gl, {width, height} = this.canvas;
        if (gl.isContextLost()) return;
        const program = this.#programFor(constants);
        gl.useProgram(program.id);
        for (const [name, value] of Object.entries({...uniforms, ...UNITS, uCanvasHeight: height})) {
            const place = program.places.get(name);
            if (place) this.#set(place, value);
        }
        gl.disable(gl.SCISSOR_TEST);
        gl.viewport(0, 0, width, height);
        gl.clearColor(0, 0, 0, 0);
        gl.clear(gl.COLOR_BUFFER_BIT);
        const [left, top, right, bottom] = box.map((side, i) => Math.min(Math.max(Math.round(side), 0), i % 2 ? height : width));
        gl.enable(gl.SCISSOR_TEST);
        gl.scissor(left, height - bottom, right - left, bottom - top);
        gl.drawArrays(gl.TRIANGLES, 0, 3);
    }
}
