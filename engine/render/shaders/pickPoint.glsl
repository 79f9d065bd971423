// The vertices of the scene as points, each holding its world position,
// pulled a little towards the eye so that those on a seen surface pass the
// id pass's depth and those behind it do not. For snapping to a corner.
#globalbegin
#define OK_REVIEW 1
#include "review"
#globalend

#vertexbegin
#include "review"
uniform mat4 worldMat;
uniform mat4 viewProjMat;
// Where "towards the eye" points: the eye (w 1) or the view's back direction (w 0).
uniform vec4 u_Eye;
uniform float u_Pull;
attribute vec4 a_Vertex;

void main()
{
    vec3 world = (worldMat * a_Vertex).xyz;
    vec3 toward = u_Eye.w > 0.5 ? (u_Eye.xyz - world) * u_Pull : u_Eye.xyz * u_Pull;
    gl_Position = reviewVertex(viewProjMat * vec4(world + toward, 1.0), world);
}
#vertexend

#fragmentbegin
#include "review"

void main()
{
    reviewClip();
    gl_FragColor = vec4(v_ReviewWorld, 1.0);
}
#fragmentend
