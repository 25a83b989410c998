// The picture's shader. Textures hold 16-bit integers as they came; nothing but the eye sees what
// is worked out here, every number shown comes from the integers themselves.

export const vertex = `#version 300 es
void main() {
    vec2 corner = vec2(gl_VertexID & 1, gl_VertexID >> 1);
    gl_Position = vec4(corner * 4.0 - 1.0, 0.0, 1.0);
}`;

export const fragment = `#version 300 es
precision highp float;
precision highp int;
precision highp usampler2D;

uniform usampler2D uShown, uSource, uOther, uBackdrop;
uniform vec2 uSize;        // of the picture, in its pixels
uniform vec2 uOrigin;      // of the picture in the canvas, in device pixels
uniform float uZoom;       // device pixels a picture pixel
uniform float uCanvasHeight;
uniform bool uLinear;
uniform int uLook;         // 0 colour, 1 over the backdrop, 2 matte, 3 difference
uniform int uWiped;        // what is right of the wipe: 0 nothing, 1 source, 2 the snapshot
uniform vec3 uWipe;        // normal and distance of its edge in picture pixels
uniform bool uSourceOnly;
uniform int uChannel;      // 0 colour, 1 2 3 red green blue, 4 alpha, 5 luma
uniform int uBackdropKind; // 0 colour, 1 checker, 2 picture
uniform vec3 uBackdropColor;
uniform float uSquare;     // of the checker, in device pixels
uniform float uGain;       // of the difference
uniform float uExposure;   // factor
uniform float uGamma;      // exponent

out vec4 outColor;

const float kFull = 65535.0;

vec4 texel(usampler2D image, ivec2 at) {
    return vec4(texelFetch(image, clamp(at, ivec2(0), textureSize(image, 0) - 1), 0)) / kFull;
}

// A pixel whose colour can be averaged: multiplied by its alpha, where that is what is looked at.
vec4 weighed(usampler2D image, ivec2 at, bool premultiply) {
    vec4 pixel = texel(image, at);
    return premultiply ? vec4(pixel.rgb * pixel.a, pixel.a) : pixel;
}

vec4 between(usampler2D image, vec2 at, bool premultiply) {
    vec2 low = floor(at - 0.5), part = at - 0.5 - low;
    ivec2 p = ivec2(low);
    vec4 above = mix(weighed(image, p, premultiply), weighed(image, p + ivec2(1, 0), premultiply), part.x);
    vec4 below = mix(weighed(image, p + ivec2(0, 1), premultiply), weighed(image, p + ivec2(1, 1), premultiply), part.x);
    return mix(above, below, part.y);
}

// The picture at a point of it; one that is shown smaller is averaged over what a dot covers.
vec4 look(usampler2D image, vec2 at, bool premultiply) {
    vec2 scale = vec2(textureSize(image, 0)) / uSize;
    vec2 place = at * scale;
    float covered = scale.x / uZoom;
    if (covered <= 1.0) return uLinear ? between(image, place, premultiply) : weighed(image, ivec2(floor(place)), premultiply);
    int taps = min(int(ceil(covered)), 4);
    vec4 sum = vec4(0.0);
    for (int y = 0; y < taps; ++y)
        for (int x = 0; x < taps; ++x) {
            vec2 offset = (vec2(x, y) + 0.5) / float(taps) - 0.5;
            sum += weighed(image, ivec2(floor(place + offset * covered)), premultiply);
        }
    return sum / float(taps * taps);
}

vec3 backdrop(vec2 spot, vec2 at) {
    if (uBackdropKind == 2) return look(uBackdrop, at, false).rgb;
    if (uBackdropKind == 0) return uBackdropColor;
    vec2 square = floor(spot / uSquare);
    return vec3(mod(square.x + square.y, 2.0) < 1.0 ? 0.36 : 0.29);
}

vec4 keyed(usampler2D image, vec2 spot, vec2 at) {
    if (uLook == 0) return look(image, at, false);
    if (uLook == 2) return vec4(vec3(look(image, at, false).a), 1.0);
    vec4 pixel = look(image, at, true);
    if (uLook == 3) return abs(pixel - look(uOther, at, true)) * uGain;
    return vec4(pixel.rgb + backdrop(spot, at) * (1.0 - pixel.a), pixel.a);
}

vec4 chosen(vec2 spot, vec2 at) {
    if (uSourceOnly) return look(uSource, at, false);
    bool beyond = uWiped != 0 && dot(uWipe.xy, at) > uWipe.z;
    if (!beyond) return keyed(uShown, spot, at);
    return uWiped == 1 ? look(uSource, at, false) : keyed(uOther, spot, at);
}

vec3 channel(vec4 pixel) {
    if (uChannel == 0) return pixel.rgb;
    if (uChannel == 4) return vec3(pixel.a);
    if (uChannel == 5) return vec3(dot(pixel.rgb, vec3(0.2126, 0.7152, 0.0722)));
    return vec3(pixel[uChannel - 1]);
}

void main() {
    vec2 place = vec2(gl_FragCoord.x, uCanvasHeight - gl_FragCoord.y);
    vec2 at = (place - uOrigin) / uZoom;
    if (any(lessThan(at, vec2(0.0))) || any(greaterThanEqual(at, uSize))) discard;
    vec3 color = channel(chosen(place, at)) * uExposure;
    outColor = vec4(pow(max(color, 0.0), vec3(uGamma)), 1.0);
}`;
