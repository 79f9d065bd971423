#globalbegin
varying vec2 TexCoord;
#globalend

#vertexbegin
attribute vec2 a_Vertex;
attribute vec2 a_UV;
uniform mat4 u_ProjMat;

void main()
{
    TexCoord = a_UV;
    gl_Position = u_ProjMat * vec4(a_Vertex, -10.0, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D sceneTexture;
uniform sampler2D bluredSceneTexture5X5;
uniform sampler2D bluredSceneTexture11X11;
uniform sampler2D bluredSceneTexture21X21;
uniform sampler2D bluredSceneTexture41X41;
// x: average luminance, y: bloom coefficient, z: environment coefficient.
uniform vec4 params;

// The filmic curve's shoulder, linear part, toe and white point.
const float A = 0.15;
const float B = 0.50;
const float C = 0.10;
const float D = 0.20;
const float E = 0.02;
const float F = 0.30;
const float W = 11.2;

vec3 filmicCurve(vec3 x)
{
    return ((x * (A * x + C * B) + D * E) / (x * (A * x + B) + D * F)) - E / F;
}

float caculateVignette(vec2 p, float inner, float outer)
{
    return 1.0 - smoothstep(inner, outer, length(p));
}

void main()
{
    float avgLuminance = params.x;
    float bloomCoefficient = params.y;
    float EnvCoefficient = params.z;
    vec3 scene = texture2D(sceneTexture, TexCoord).rgb;

    // Bloom off means tone mapping off as well.
    if (bloomCoefficient == 0.0) {
        gl_FragColor = vec4(scene, 1.0);
        return;
    }

    vec3 hdr = scene;
    hdr += bloomCoefficient * texture2D(bluredSceneTexture5X5, TexCoord).rgb;
    hdr += bloomCoefficient * texture2D(bluredSceneTexture11X11, TexCoord).rgb;
    hdr += bloomCoefficient * texture2D(bluredSceneTexture21X21, TexCoord).rgb;
    hdr += bloomCoefficient * texture2D(bluredSceneTexture41X41, TexCoord).rgb;

    // Exposure scales each pixel by its own luminance: that is the picture's contrast.
    float lum = dot(hdr, vec3(0.2125, 0.7154, 0.0721));
    hdr = hdr * (EnvCoefficient + 3.2) * lum / avgLuminance;

    float ExposureBias = 1.0;
    vec3 curr = filmicCurve(ExposureBias * hdr);
    vec3 whiteScale = 1.0 / filmicCurve(vec3(W));
    hdr = curr * whiteScale;

    // hdr = pow(hdr, vec3(1.0 / 2.2));
    // hdr *= caculateVignette(TexCoord * 2.0 - 1.0, 0.7, 1.5);
    gl_FragColor = vec4(hdr, 1.0);
}
#fragmentend
