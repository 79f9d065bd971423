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
    gl_Position = u_ProjMat * u_WorldMat * vec4(a_Vertex, -0.1, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D u_Sampler;

void main()
{
    gl_FragColor = texture2D(u_Sampler, v_UV);
}
#fragmentend
