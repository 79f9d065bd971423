#globalbegin
varying vec2 v_UV;
#globalend

#vertexbegin
attribute vec3 a_Position;
attribute vec2 a_UV;

void main()
{
    v_UV = a_UV;
    gl_Position = vec4(a_Position, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D positionInfo;
uniform sampler2D normalInfo;
uniform sampler2D texNoise;
uniform float u_Width;
uniform float u_Height;
// The exponent of the result, not a radius.
uniform float u_radius;
uniform float u_kernelSize;
uniform vec4 samples[64];
uniform mat4 u_ProjMat;

// The true sampling radius in view units.
float radius = 0.3;

void main()
{
    // The noise texture is 4 by 4 and repeats over the screen.
    vec2 noiseScale = vec2(u_Width / 4.0, u_Height / 4.0);
    vec3 fragPos = texture2D(positionInfo, v_UV).xyz;
    vec3 normal = texture2D(normalInfo, v_UV).rgb;
    vec3 randomVec = texture2D(texNoise, v_UV * noiseScale).xyz;

    vec3 tangent = normalize(randomVec - normal * dot(randomVec, normal));
    vec3 bitangent = cross(normal, tangent);
    mat3 TBN = mat3(tangent, bitangent, normal);

    float occlusion = 0.0;
    for (int i = 0; i < u_kernelSize; ++i) {
        vec3 s = TBN * samples[i].xyz;
        s = fragPos + s * radius;

        vec4 offset = vec4(s, 1.0);
        offset = u_ProjMat * offset;
        offset.xyz /= offset.w;
        offset.xyz = offset.xyz * 0.5 + 0.5;

        float sampleDepth = -texture2D(positionInfo, offset.xy).w - 0.003;
        float rangeCheck = smoothstep(0.3, 3.0, radius / abs(fragPos.z - sampleDepth));
        if (sampleDepth >= s.z)
            occlusion += rangeCheck;
    }
    occlusion = 1.0 - occlusion / u_kernelSize;
    float ao = pow(occlusion, u_radius);
    gl_FragColor = vec4(ao, ao, ao, 1.0);
}
#fragmentend
