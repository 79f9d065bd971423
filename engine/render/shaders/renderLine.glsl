#globalbegin
#globalend

#vertexbegin
uniform mat4 viewProjMat;
attribute vec3 vertex;

void main()
{
    gl_Position = viewProjMat * vec4(vertex, 1.0);
}
#vertexend

#fragmentbegin
uniform vec4 color;

void main()
{
    gl_FragColor = color;
}
#fragmentend
