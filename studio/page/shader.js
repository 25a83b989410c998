// The picture's shader. Textures hold 16-bit integers as they came; nothing but the eye sees what
// is worked out here, every number shown comes from the integers themselves.
//
// What does not change from dot to dot is chosen by constants, one program for each choice: where
// a browser has to draw without a graphics processor, it works through every branch of a shader.

/** A rectangle of the canvas: left, top, right and bottom in device pixels. */
export const vertex = `#version 300 es
uniform vec2 uCanvas;
layout(location = 0) in vec4 aBox;
void main() {
    vec2 corner = mix(aBox.xy, aBox.zw, vec2(gl_VertexID & 1, gl_VertexID >> 1)) / uCanvas;
    gl_Position = vec4(corner.x * 2.0 - 1.0, 1.0 - corner.y * 2.0, 0.0, 1.0);
}`;

/**
 * The program for constants: LOOK (0 colour, 1 over the backdrop, 2 matte, 3 difference, 4 source),
 * BEYOND (what is right of the wipe: 0 nothing, 1 source, 2 the snapshot), BACKDROP (0 colour,
 * 1 checker, 2 picture), TAPS (0 whole pixels, 1 smoothed, else the side of the square of pixels
 * that is averaged) and TONED (whether a channel, exposure or gamma is chosen).
 */
export function fragment(constants) {
    const defines = Object.entries({...constants, SUM: sumOf(constants.TAPS)}).map(([name, value]) => `#define ${name} ${value}\n`);
    return `#version 300 es\n${defines.join('')}${body}`;
}

/** The pixels of a square, added up in one expression: loops take twice as long without a graphics processor. */
function sumOf(side) {
    const along = [...Array(side).keys()];
    return along.flatMap((y) => along.map((x) => `TAP(${x}, ${y})`)).join(' + ');
}

const body = `
precision highp float;
precision highp int;
precision highp usampler2D;

uniform usampler2D uShown, uSource, uOther, uBackdrop;
uniform vec2 uSize;        // of the picture, in its pixels
uniform vec2 uOrigin;      // of the picture in the canvas, in device pixels
uniform float uDot;        // picture pixels a device pixel
uniform vec2 uCanvas;
uniform vec3 uWipe;        // normal and distance of its edge in picture pixels
uniform mat4 uChannel;     // from the pixel to what is shown of it
uniform vec3 uBackdropColor;
uniform float uSquare;     // of the checker, in device pixels
uniform float uGain;       // of the difference
uniform float uExposure;   // factor
uniform float uGamma;      // exponent

out vec4 outColor;

const float kUnit = 1.0 / 65535.0;

// A pixel's integers, the colour multiplied by its alpha where that is asked.
vec4 texel(usampler2D image, ivec2 at, bool weigh) {
    vec4 pixel = vec4(texelFetch(image, at, 0));
    return weigh ? vec4(pixel.rgb * (pixel.a * kUnit), pixel.a) : pixel;
}

// The picture at a point of it.
vec4 look(usampler2D image, vec2 at, bool weigh) {
    vec2 scale = vec2(textureSize(image, 0)) / uSize;
    vec2 place = at * scale;
    ivec2 most = textureSize(image, 0) - 1;
#if TAPS == 0
    return texel(image, min(ivec2(place), most), weigh) * kUnit;
#elif TAPS == 1
    vec2 low = floor(place - 0.5), part = place - 0.5 - low;
    ivec2 a = max(ivec2(low), 0), b = min(ivec2(low) + 1, most);
    vec4 above = mix(texel(image, a, weigh), texel(image, ivec2(b.x, a.y), weigh), part.x);
    vec4 below = mix(texel(image, ivec2(a.x, b.y), weigh), texel(image, b, weigh), part.x);
    return mix(above, below, part.y) * kUnit;
#else
    vec2 step = scale * (uDot / float(TAPS)), corner = place + step * (0.5 - 0.5 * float(TAPS));
#define TAP(x, y) texel(image, clamp(ivec2(corner + step * vec2(x, y)), ivec2(0), most), weigh)
    return (SUM) * (kUnit / float(TAPS * TAPS));
#endif
}

vec3 backdrop(vec2 spot, vec2 at) {
#if BACKDROP == 2
    return look(uBackdrop, at, false).rgb;
#elif BACKDROP == 1
    vec2 square = floor(spot / uSquare);
    return vec3(mod(square.x + square.y, 2.0) < 1.0 ? 0.36 : 0.29);
#else
    return uBackdropColor;
#endif
}

vec4 keyed(usampler2D image, vec2 spot, vec2 at) {
#if LOOK == 0
    return look(image, at, false);
#elif LOOK == 2
    return vec4(look(image, at, false).a);
#elif LOOK == 3
    return abs(look(image, at, true) - look(uOther, at, true)) * uGain;
#else
    vec4 pixel = look(image, at, true);
    return vec4(pixel.rgb + backdrop(spot, at) * (1.0 - pixel.a), pixel.a);
#endif
}

vec4 chosen(vec2 spot, vec2 at) {
#if LOOK == 4
    return look(uSource, at, false);
#elif BEYOND == 0
    return keyed(uShown, spot, at);
#elif BEYOND == 1
    return dot(uWipe.xy, at) > uWipe.z ? look(uSource, at, false) : keyed(uShown, spot, at);
#else
    return dot(uWipe.xy, at) > uWipe.z ? keyed(uOther, spot, at) : keyed(uShown, spot, at);
#endif
}

void main() {
    vec2 place = vec2(gl_FragCoord.x, uCanvas.y - gl_FragCoord.y);
    vec2 at = (place - uOrigin) * uDot;
#if TONED
    vec3 color = (uChannel * chosen(place, at)).rgb * uExposure;
    outColor = vec4(pow(max(color, 0.0), vec3(uGamma)), 1.0);
#else
    outColor = vec4(chosen(place, at).rgb, 1.0);
#endif
}`;
