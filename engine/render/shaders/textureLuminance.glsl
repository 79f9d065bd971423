#globalbegin
varying vec2 v_UV;
#globalend

#vertexbegin
attribute vec2 a_Vertex;
attribute vec2 a_UV;
uniform mat4 u_ProjMat;
uniform mat4 u_WorldMat;

void main()
{
    v_UV = a_UV;
    gl_Position = u_ProjMat * vec4(a_Vertex, -0.1, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D u_Sampler;

void main()
{
    vec3 c = texture2D(u_Sampler, v_UV).rgb;
    float val = clamp(0.2125 * c.r + 0.7154 * c.g + 0.0721 * c.b, 0.0, 10.0);
    // The small constant keeps black pixels out of log(0).
    float l = log(val + 0.0001);
    gl_FragColor = vec4(l, l, l, l);
}
#fragmentend
