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
uniform sampler2D SSAOTexure;
uniform float u_Width;
uniform float u_Height;

// The size of the noise texture, whose pattern the box removes.
const int blurSize = 4;

void main()
{
    vec2 texelSize = 1.0 / vec2(u_Width, u_Height);
    float result = 0.0;
    for (int x = 0; x < blurSize; ++x) {
        for (int y = 0; y < blurSize; ++y) {
            vec2 offset = vec2(-2.0 + float(x), -2.0 + float(y)) * texelSize;
            result += texture2D(SSAOTexure, v_UV + offset).r;
        }
    }
    float mean = result / float(blurSize * blurSize);
    gl_FragColor = vec4(mean, mean, mean, 1.0);
}
#fragmentend
