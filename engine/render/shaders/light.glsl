#globalbegin
// Light counts default to none, which is the unlit form.
#ifndef UNI_DCTLIGHT_NUM
#define UNI_DCTLIGHT_NUM 0
#endif
#ifndef UNI_PTLIGHT_NUM
#define UNI_PTLIGHT_NUM 0
#endif
#ifndef UNI_SPOTLIGHT_NUM
#define UNI_SPOTLIGHT_NUM 0
#endif

varying vec2 v_UV0;
varying vec2 v_UV1;
varying vec2 v_UV2;
varying vec2 v_UV3;
varying vec3 v_Normal;
varying vec3 v_FragPos;
varying mat3 v_TBN;
varying vec4 v_FragPosLightSpace;
#include "review"
#globalend

#vertexbegin
#include "review"
attribute vec4 a_Vertex;
attribute vec3 a_Normal;
attribute vec2 a_UV0;
attribute vec2 a_UV1;
attribute vec2 a_UV2;
attribute vec2 a_UV3;
attribute vec3 a_UV1_T;
attribute vec3 a_UV1_B;

uniform mat4 worldMat;
uniform mat4 worldMatN;
uniform mat4 viewProjMat;
uniform mat4 lightSpaceMatrix;

void main()
{
    v_UV0 = a_UV0;
    v_UV1 = a_UV1;
    v_UV2 = a_UV2;
    v_UV3 = a_UV3;
    v_Normal = (worldMatN * vec4(a_Normal, 1.0)).xyz;
    v_FragPos = (worldMat * a_Vertex).xyz;
    v_FragPosLightSpace = lightSpaceMatrix * vec4(v_FragPos, 1.0);
    gl_Position = reviewVertex(viewProjMat * worldMat * a_Vertex, v_FragPos);
#ifdef UNI_TEX_4_UV
    vec3 T = (worldMatN * vec4(a_UV1_T, 1.0)).xyz;
    vec3 B = (worldMatN * vec4(a_UV1_B, 1.0)).xyz;
    v_TBN = mat3(T, B, v_Normal);
#endif
}
#vertexend

#fragmentbegin
#include "review"
// Almost every parameter arrives in this one block; see the aliases below.
uniform vec4 u_Uniform[64];
uniform sampler1D u_TexC;
uniform sampler2D shadowMap;
#ifdef UNI_TEX_0_UV
uniform sampler2D u_Tex0;
#endif
#ifdef UNI_TEX_1_UV
uniform sampler2D u_Tex1;
#endif
#if defined(UNI_TEX_2_UV) || defined(OK_WATER)
uniform sampler2D u_Tex2;
#endif
#if defined(UNI_TEX_3_UV) || defined(OK_WATER)
uniform samplerCube u_Tex3;
#endif
#ifdef UNI_TEX_4_UV
uniform sampler2D u_Tex4;
#endif
#ifdef UNI_TEX_5_UV
uniform sampler2D u_Tex5;
#endif
#ifdef UNI_TEX_6_UV
uniform sampler2D u_Tex6;
#endif

#define shadowMapW u_Uniform[40].y
#define shadowMapH u_Uniform[40].z
#define u_emissive u_Uniform[0].xyz
#define u_ambient u_Uniform[1].xyz
#define u_diffuse u_Uniform[2].xyz
#define u_specular u_Uniform[3].xyz
#define u_specularlevel u_Uniform[0].w
#define u_glossiness u_Uniform[1].w
#define u_alpha u_Uniform[2].w
#define u_alphatestvalue u_Uniform[3].w
#define u_groundcolor u_Uniform[32].xyz
#define u_skycolor u_Uniform[33].xyz
#define u_Viewpos u_Uniform[4].xyz

vec3 getNormal()
{
#ifdef OK_BUMP
    // vec2 bumpUV = u_Uniform[29].xy + (UNI_TEX_4_UV) * u_Uniform[29].zw;
    // vec3 n = texture2D(u_Tex4, bumpUV).rgb * 2.0 - 1.0;
    // return normalize(v_TBN * n);
#endif
    return normalize(v_Normal);
}

// A texture channel at its UV set, moved by the channel's offset (xy) and
// scaled by its scale (zw) from the given entry.
vec4 channelSample(sampler2D channel, int entry, vec2 uv)
{
    return texture2D(channel, u_Uniform[entry].xy + uv * u_Uniform[entry].zw);
}

vec3 getDiffuse()
{
    vec3 tex = vec3(0.0);
#if defined(UNI_TEX_0_UV) || defined(UNI_TEX_1_UV) || defined(UNI_TEX_2_UV) || defined(UNI_TEX_5_UV) || defined(UNI_TEX_6_UV)
    // Colour channels add up; they are not blended.
#ifdef UNI_TEX_0_UV
    tex += channelSample(u_Tex0, 25, UNI_TEX_0_UV).rgb;
#endif
#ifdef UNI_TEX_1_UV
    tex += channelSample(u_Tex1, 26, UNI_TEX_1_UV).rgb;
#endif
#ifdef UNI_TEX_2_UV
    tex += channelSample(u_Tex2, 27, UNI_TEX_2_UV).rgb;
#endif
#ifdef UNI_TEX_5_UV
    tex += channelSample(u_Tex5, 30, UNI_TEX_5_UV).rgb;
#endif
#ifdef UNI_TEX_6_UV
    tex += channelSample(u_Tex6, 31, UNI_TEX_6_UV).rgb;
#endif
#else
    tex = u_diffuse;
#endif

#ifdef UNI_TEX_3_UV
    vec3 reflected = reflect(-normalize(u_Viewpos - v_FragPos), getNormal());
    tex += textureCube(u_Tex3, reflected).rgb * u_Uniform[38].xyz * u_Uniform[38].w;
#ifdef OK_NIGHT
    // Reflective glass glows at night.
    tex = mix(tex, u_Uniform[37].xyz, u_Uniform[35].w);
#endif
#endif

#ifdef OK_WATER
    // The water clock scrolls the texture in world coordinates.
    tex = mix(texture2D(u_Tex2, v_FragPos.xy * 10.0 + u_Uniform[33].w).rgb, tex, 0.5);
#endif

#ifdef OK_WHITE
    return vec3(138.0 / 255.0, 173.0 / 255.0, 208.0 / 255.0);
#else
    return tex;
#endif
}

// Diffuse through the colour ramp when entry 34.z asks for it.
vec3 rampedDiffuse(float diff, vec3 Diffuse)
{
    if (u_Uniform[34].z == 0.0)
        return diff * Diffuse;
    return texture1D(u_TexC, diff).rgb * Diffuse;
}

vec3 dctLighting(vec3 viewDir, vec3 Norm, vec3 Diffuse, int Num1, int Num2)
{
    vec3 L = normalize(-u_Uniform[Num2].xyz);
    vec3 reflectDir = reflect(L, Norm);
    float diff = max(dot(Norm, L), 0.0);
    vec3 diffuse = rampedDiffuse(diff, Diffuse);
    float highlight = pow(max(dot(viewDir, reflectDir), 0.0), u_glossiness);
    vec3 specular = u_specularlevel * highlight * u_specular;
    return (diffuse + specular) * u_Uniform[Num1].xyz;
}

vec3 ptLighting(vec3 viewDir, vec3 Norm, vec3 Diffuse, int Num1, int Num2, int Num3)
{
    vec3 lightColor = u_Uniform[Num1].xyz * u_Uniform[Num1].w;
    float attLinear = u_Uniform[Num2].w;
    float attQuadratic = u_Uniform[Num3].w;
    vec3 L = normalize(u_Uniform[Num2].xyz - v_FragPos);
    vec3 reflectDir = reflect(-L, Norm);
    float d = length(u_Uniform[Num2].xyz - v_FragPos);
    float attenuation = 1.0 / (1.0 + attLinear * d + attQuadratic * d * d);
    float diff = max(dot(Norm, L), 0.0);
    vec3 diffuse = rampedDiffuse(diff, Diffuse);
    float highlight = pow(max(dot(viewDir, reflectDir), 0.0), u_glossiness);
    vec3 specular = u_specularlevel * highlight * u_specular;
    return attenuation * (diffuse + specular) * lightColor;
}

// The sun: only the diffuse term of a spot light is left, between shade and sun colour.
vec3 spotLighting(vec3 viewDir, vec3 Norm, vec3 Diffuse, int Num1, int Num2, int Num3, int Num4, int Num5)
{
    vec3 Lightdir = normalize(u_Uniform[Num2].xyz - v_FragPos);
    float diff = max(dot(Norm, Lightdir), 0.0);
#ifdef OK_COLOR
    float t = texture1D(u_TexC, diff).x;
#else
    float t = diff;
#endif
    vec3 diffuse = mix(u_Uniform[36].xyz, u_Uniform[35].xyz, t) * Diffuse;

    // vec3 reflectDir = reflect(-Lightdir, Norm);
    // float highlight = pow(max(dot(viewDir, reflectDir), 0.0), u_glossiness);
    // vec3 specular = u_specularlevel * highlight * u_specular;
    // float theta = dot(Lightdir, normalize(-u_Uniform[Num3].xyz));
    // float epsilon = u_Uniform[Num4].w - u_Uniform[Num5].w;
    // float intensity = clamp((theta - u_Uniform[Num5].w) / epsilon, 0.0, 1.0);
    // float d = length(u_Uniform[Num2].xyz - v_FragPos);
    // float attenuation = 1.0 / (1.0 + u_Uniform[Num2].w * d + u_Uniform[Num3].w * d * d);
    return diffuse * u_Uniform[Num1].xyz * u_Uniform[39].y;
}

float Linstep(float low, float high, float v)
{
    return clamp((v - low) / (high - low), 0.0, 1.0);
}

float ReduceLightBleeding(float p_max, float amount)
{
    return Linstep(amount, 1.0, p_max);
}

float ShadowCalculationVSM(vec4 fragPosLightSpace)
{
    vec3 projCoords = fragPosLightSpace.xyz / fragPosLightSpace.w;
    projCoords = projCoords * 0.5 + 0.5;
    float fragDepth = projCoords.z - 0.001;

    // The size of the full moment map, while the bound map is half of it:
    // the taps fall closer than a texel of the map they read.
    vec2 texelSize = 1.0 / vec2(shadowMapW, shadowMapH);
    vec2 moments = vec2(0.0);
    moments += texture2D(shadowMap, projCoords.xy + vec2(-0.5, 1.5) * texelSize).rg * 0.0625;
    moments += texture2D(shadowMap, projCoords.xy + vec2(-0.5, -0.5) * texelSize).rg * 0.0625;
    moments += texture2D(shadowMap, projCoords.xy + vec2(1.5, 1.5) * texelSize).rg * 0.0625;
    moments += texture2D(shadowMap, projCoords.xy + vec2(1.5, -0.5) * texelSize).rg * 0.0625;
    moments += texture2D(shadowMap, projCoords.xy + vec2(-0.5, 0.5) * texelSize).rg * 0.125;
    moments += texture2D(shadowMap, projCoords.xy + vec2(1.5, 0.5) * texelSize).rg * 0.125;
    moments += texture2D(shadowMap, projCoords.xy + vec2(0.5, -0.5) * texelSize).rg * 0.125;
    moments += texture2D(shadowMap, projCoords.xy + vec2(0.5, 1.5) * texelSize).rg * 0.125;
    moments += texture2D(shadowMap, projCoords.xy + vec2(0.5, 0.5) * texelSize).rg * 0.25;

    // float bias = 0.005;
    // float pcf = 0.0;
    // pcf += (fragDepth - bias > texture2D(shadowMap, projCoords.xy + vec2(-0.5, 1.5) * texelSize).r ? 0.0 : 1.0) * 0.0625;
    // ... the same for the other eight taps with the weights above ...
    // return pcf;

    if (fragDepth <= moments.x)
        return 1.0;
    float variance = max(moments.y - moments.x * moments.x, 0.000001);
    float d = fragDepth - moments.x;
    float p_max = variance / (variance + d * d);
    // Beyond the light's far plane: lit.
    if (projCoords.z > 1.0)
        p_max = 1.0;
    return ReduceLightBleeding(p_max, 0.618);
}

void main()
{
    reviewClip();
    vec3 result = vec3(0.0);
    vec3 Norm = getNormal();
    vec3 Diffuse = getDiffuse();
    vec3 viewDir = normalize(u_Viewpos - v_FragPos);

#if UNI_DCTLIGHT_NUM > 0
    result += dctLighting(viewDir, Norm, Diffuse, 5, 6);
#if UNI_DCTLIGHT_NUM > 1
    result += dctLighting(viewDir, Norm, Diffuse, 7, 8);
#endif
#endif
#if UNI_PTLIGHT_NUM > 0
    result += ptLighting(viewDir, Norm, Diffuse, 9, 10, 11);
#endif
#if UNI_SPOTLIGHT_NUM > 0
    result += spotLighting(viewDir, Norm, Diffuse, 15, 16, 17, 18, 19);
#if UNI_SPOTLIGHT_NUM > 1
    result += spotLighting(viewDir, Norm, Diffuse, 20, 21, 22, 23, 24);
#endif
#endif

#if UNI_DCTLIGHT_NUM == 0 && UNI_PTLIGHT_NUM == 0 && UNI_SPOTLIGHT_NUM == 0
    // Unlit, as the sky is drawn: the texture scaled by the glow level.
    gl_FragColor = vec4(getDiffuse() * u_Uniform[37].w, 1.0);
#else
    vec4 color = vec4(result, u_alpha);
#ifdef UNI_TEX_5_UV
    color.a = channelSample(u_Tex5, 30, UNI_TEX_5_UV).a;
#endif
#ifdef OK_WATER
    color.a = 0.8;
#endif
    if (color.a < u_alphatestvalue)
        discard;

    float shadow = mix(ShadowCalculationVSM(v_FragPosLightSpace), 1.0, u_Uniform[40].x);
    shadow = min(shadow + u_Uniform[39].z, 1.0);
    // Faces turned away from the spot light are not shadowed.
    if (dot(Norm, normalize(u_Uniform[16].xyz - v_FragPos)) <= 0.2)
        shadow = 1.0;

    // The world's up axis is z.
    vec3 Ambient = mix(u_groundcolor * u_Uniform[39].x, u_skycolor * u_Uniform[39].x, Norm.z * 0.5 + 0.5) * Diffuse;
    color.rgb = (color.rgb + Ambient) * shadow;
    gl_FragColor = vec4(reviewTint(color.rgb), color.a);
#endif
}
#fragmentend
