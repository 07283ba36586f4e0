// Soft vignette with film grain. The grain texture is the effect's auxiliary image.
#version 120

uniform sampler2D source;     // the clip's frame
uniform sampler2D auxImage;   // tiling grain texture
uniform float intensity;      // 0 (off) to 1 (full)
uniform vec2 resolution;      // frame size in pixels

varying vec2 texCoord;

void main() {
    vec4 colour = texture2D(source, texCoord);
    vec2 centred = texCoord - vec2(0.5);
    float vignette = smoothstep(0.8, 0.25, length(centred * vec2(resolution.x / resolution.y, 1.0)));
    float grain = texture2D(auxImage, texCoord * resolution / 64.0).r - 0.5;
    vec3 shaded = colour.rgb * mix(1.0, vignette, intensity) + grain * 0.08 * intensity;
    gl_FragColor = vec4(clamp(shaded, 0.0, 1.0), colour.a);
}
