#globalbegin
varying vec3 v_Normal;
#include "review"
#globalend

#vertexbegin
#include "review"
uniform mat4 viewMat;
uniform mat4 projMat;
uniform mat4 worldMat;
uniform mat4 worldMatN;
attribute vec4 a_Vertex;
attribute vec3 a_Normal;

void main()
{
    // w = 1 lets the view translation into the normal; the occlusion pass is tuned with it.
    v_Normal = (viewMat * worldMatN * vec4(a_Normal, 1.0)).xyz;
    gl_Position = reviewVertex(projMat * viewMat * worldMat * a_Vertex, (worldMat * a_Vertex).xyz);
}
#vertexend

#fragmentbegin
#include "review"
void main()
{
    reviewClip();
    gl_FragColor = vec4(normalize(v_Normal), 1.0);
}
#fragmentend
