#globalbegin
varying vec4 v_FragPos;
#include "review"
#globalend

#vertexbegin
#include "review"
uniform mat4 viewMat;
uniform mat4 projMat;
uniform mat4 worldMat;
attribute vec4 a_Vertex;

void main()
{
    v_FragPos = viewMat * worldMat * a_Vertex;
    gl_Position = reviewVertex(projMat * v_FragPos, (worldMat * a_Vertex).xyz);
}
#vertexend

#fragmentbegin
#include "review"
uniform float zNear;
uniform float zFar;

// Rebuilds the window depth from the view position and makes it linear again;
// the depth argument is not needed for that.
float LinearizeDepth(float depth)
{
    vec4 p = v_FragPos;
    float zDiff = zFar - zNear;
    float i = (p.w / p.z) * zFar * zNear / zDiff + 0.5 * (zFar + zNear) / zDiff + 0.5;
    float z = i * 2.0 - 1.0;
    return (2.0 * zNear * zFar) / (zFar + zNear - z * (zFar - zNear));
}

void main()
{
    reviewClip();
    gl_FragColor = vec4(v_FragPos.xyz, LinearizeDepth(gl_FragCoord.z));
}
#fragmentend
