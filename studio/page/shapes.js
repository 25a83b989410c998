// Drawn mattes: outlines with keyframes, and their file, the subset of SVG that the command reads.
//
// A shape is {feather, keys}; keys are {frame, points} by ascending frames; a point is
// [x, y, inX, inY, outX, outY] with its two handles where they are, not how far they lie off.

const number = (value) => String(Math.round(value * 100) / 100);
const pair = (x, y) => `${number(x)},${number(y)}`;

export const corner = (x, y) => [x, y, x, y, x, y];

const isCorner = ([x, y, ax, ay, bx, by]) => x === ax && y === ay && x === bx && y === by;

/** Whether any of its points, in any keyframe, has handles. All keyframes are written alike. */
export function isCurved(shape) {
    return shape.keys.some((key) => key.points.some((point) => !isCorner(point)));
}

/** The closed outline as SVG's path data; `map` moves each coordinate pair. */
export function pathData(points, curved, map = (x, y) => [x, y]) {
    const at = (x, y) => pair(...map(x, y));
    const [first, ...rest] = points;
    const steps = [...rest, first].map((to, i) => {
        const from = points[i];
        return curved ? `C ${at(from[4], from[5])} ${at(to[2], to[3])} ${at(to[0], to[1])}` : `L ${at(to[0], to[1])}`;
    });
    if (!curved) steps.pop();
    return `M ${at(first[0], first[1])} ${steps.join(' ')} Z`;
}

function element(points, curved, attributes) {
    return curved ? `<path${attributes} d="${pathData(points, true)}"/>`
        : `<polygon${attributes} points="${points.map(([x, y]) => pair(x, y)).join(' ')}"/>`;
}

function written(shape, purpose) {
    const attributes = ` class="${purpose}"${shape.feather ? ` data-feather="${number(shape.feather)}"` : ''}`;
    const curved = isCurved(shape);
    if (shape.keys.length === 1) return `  ${element(shape.keys[0].points, curved, attributes)}\n`;
    const keys = shape.keys.map(({frame, points}) => `    <g data-frame="${frame}">${element(points, curved, '')}</g>\n`);
    return `  <g${attributes}>\n${keys.join('')}  </g>\n`;
}

/** The file of shapes of one purpose ('garbage' or 'core'), or null where there are none. */
export function toSvg(shapes, purpose, [width, height]) {
    if (shapes.length === 0) return null;
    return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}">\n` +
        shapes.map((shape) => written(shape, purpose)).join('') + '</svg>\n';
}

const numbers = (text) => (text?.match(/-?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?/gi) ?? []).map(Number);

/** A single closed path of M, L and C; null for others, which are kept, but not edited here. */
function pathPoints(text) {
    const steps = text.match(/[a-z][^a-z]*/gi) ?? [];
    if (steps[0]?.[0] !== 'M' || !/^Z\s*$/.test(steps.at(-1))) return null;
    const points = [];
    for (const step of steps.slice(0, -1)) {
        const values = numbers(step.slice(1));
        const size = {M: 2, L: 2, C: 6}[step[0]];
        if (!size || values.length === 0 || values.length % size || (step[0] === 'M' && points.length)) return null;
        for (let i = 0; i < values.length; i += size) {
            const part = values.slice(i, i + size);
            if (size === 6) points.at(-1).splice(4, 2, part[0], part[1]);
            const [x, y] = part.slice(-2);
            points.push(size === 6 ? [x, y, part[2], part[3], x, y] : corner(x, y));
        }
    }
    return closed(points);
}

/** An outline that comes back to where it began has one point there, with both handles. */
function closed(points) {
    const [first, last] = [points[0], points.at(-1)];
    if (points.length > 3 && first[0] === last[0] && first[1] === last[1]) {
        first.splice(2, 2, last[2], last[3]);
        points.pop();
    }
    return points.length >= 3 ? points : null;
}

function pointsOf(node) {
    if (node.tagName === 'path') return pathPoints(node.getAttribute('d') ?? '');
    const values = numbers(node.getAttribute(node.tagName === 'polygon' ? 'points' : 'none'));
    if (node.tagName !== 'polygon' || values.length < 6) return null;
    return Array.from({length: values.length / 2}, (_, i) => corner(values[2 * i], values[2 * i + 1]));
}

function readShape(node) {
    const feather = Number(node.getAttribute('data-feather') ?? 0);
    if (node.tagName !== 'g') {
        const points = pointsOf(node);
        return points && {feather, keys: [{frame: 0, points}]};
    }
    const keys = Array.from(node.children, (group) => {
        const points = group.children.length === 1 ? pointsOf(group.children[0]) : null;
        return group.hasAttribute('data-frame') && points ? {frame: Number(group.getAttribute('data-frame')), points} : null;
    });
    if (keys.length === 0 || keys.includes(null)) return null;
    return {feather, keys: keys.sort((a, b) => a.frame - b.frame)};
}

/** The shapes of a file as `toSvg` writes it; null where it holds what is not edited here. */
export function fromSvg(text) {
    if (!text) return [];
    const root = new DOMParser().parseFromString(text, 'image/svg+xml').documentElement;
    if (root.tagName !== 'svg') return null;
    const shapes = Array.from(root.children, readShape);
    return shapes.includes(null) ? null : shapes;
}

/** A shape's points in a frame: between keyframes they go straight, beyond them they rest. */
export function pointsAt(shape, frame) {
    const after = shape.keys.findIndex((key) => key.frame > frame);
    if (after === 0) return shape.keys[0].points;
    if (after < 0) return shape.keys.at(-1).points;
    const [from, to] = [shape.keys[after - 1], shape.keys[after]];
    const part = (frame - from.frame) / (to.frame - from.frame);
    return from.points.map((point, i) => point.map((value, c) => value + (to.points[i][c] - value) * part));
}

/** The keyframe that a change in this frame goes to: the only one, or one of this very frame. */
export function keyFor(shape, frame) {
    if (shape.keys.length === 1) return shape.keys[0];
    return addKey(shape, frame);
}

export function addKey(shape, frame) {
    const there = shape.keys.find((key) => key.frame === frame);
    if (there) return there;
    const key = {frame, points: structuredClone(pointsAt(shape, frame))};
    shape.keys.push(key);
    shape.keys.sort((a, b) => a.frame - b.frame);
    return key;
}

export function moveAll(points, dx, dy) {
    for (const point of points) for (let c = 0; c < 6; c += 2) { point[c] += dx; point[c + 1] += dy; }
}

/** Moves a point with its handles. */
export function movePoint(point, x, y) {
    moveAll([point], x - point[0], y - point[1]);
}

/** Pulls a point's handle (2: the one in, 4: the one out); the other mirrors it where it does so already or is asked to. */
export function moveHandle(point, which, x, y, mirrors) {
    point[which] = x;
    point[which + 1] = y;
    if (!mirrors) return;
    const other = 6 - which;
    point[other] = 2 * point[0] - x;
    point[other + 1] = 2 * point[1] - y;
}

const mix = (a, b, part) => [a[0] + (b[0] - a[0]) * part, a[1] + (b[1] - a[1]) * part];

/** A place on the edge that begins at a point, `part` of 0 to 1 along it, and the edge cut in two there. */
function cut(points, edge, part) {
    const from = points[edge], to = points[(edge + 1) % points.length];
    const [p0, p1, p2, p3] = [from.slice(0, 2), from.slice(4, 6), to.slice(2, 4), to.slice(0, 2)];
    const [a, b, c] = [mix(p0, p1, part), mix(p1, p2, part), mix(p2, p3, part)];
    const [d, e] = [mix(a, b, part), mix(b, c, part)];
    return {from: a, point: [...mix(d, e, part), ...d, ...e], to: c};
}

/** Puts a point on an edge of all keyframes without changing the outline. */
export function splitEdge(shape, edge, part) {
    for (const {points} of shape.keys) {
        const pieces = cut(points, edge, part);
        const from = points[edge], to = points[(edge + 1) % points.length];
        const straight = isCorner(from) && isCorner(to);
        if (!straight) {
            from.splice(4, 2, ...pieces.from);
            to.splice(2, 2, ...pieces.to);
        }
        const [x, y] = mix(from, to, part);
        points.splice(edge + 1, 0, straight ? corner(x, y) : pieces.point);
    }
}

export function removePoint(shape, at) {
    for (const key of shape.keys) key.points.splice(at, 1);
}

/** The nearest place on an outline: {edge, part, x, y}. */
export function nearestOnEdge(points, x, y) {
    let best = {distance: Infinity};
    for (let edge = 0; edge < points.length; ++edge)
        for (let i = 0; i <= 24; ++i) {
            const [px, py] = cut(points, edge, i / 24).point;
            const distance = Math.hypot(px - x, py - y);
            if (distance < best.distance) best = {distance, edge, part: i / 24, x: px, y: py};
        }
    return best;
}
