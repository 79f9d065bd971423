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
uniform vec4 params;

void main()
{
    float brightCoefficient = params.x;
    vec4 color = texture2D(textureSource, Texcoord);
    float luminance = dot(color.rgb, vec3(0.2125, 0.7154, 0.0721));
    // Below the threshold nothing is written: the target keeps its clear colour.
    if (luminance > brightCoefficient)
        gl_FragColor = vec4(color.rgb, 1.0);
    else
        discard;
}
#fragmentend
