#globalbegin
varying vec2 Texcoord;
#globalend

#vertexbegin
attribute vec2 a_Vertex;
attribute vec2 a_UV;
uniform mat4 u_ProjMat;

void main()
{
    Texcoord = a_UV;
    gl_Position = u_ProjMat * vec4(a_Vertex, -10.0, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D textureSource;

void main()
{
    gl_FragColor = vec4(texture2D(textureSource, Texcoord).rgb, 1.0);
}
#fragmentend
