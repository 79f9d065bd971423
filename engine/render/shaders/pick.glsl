// The id pass: each fragment's object as a 24-bit number in the first
// target and its world position in the second. Hidden objects and what the
// section box cuts away are left out, as in the picture.
#globalbegin
#define OK_REVIEW 1
#include "review"
varying float v_PickIndex;
#globalend

#vertexbegin
#include "review"
uniform mat4 worldMat;
uniform mat4 viewProjMat;
attribute vec4 a_Vertex;

void main()
{
    vec3 world = (worldMat * a_Vertex).xyz;
    v_PickIndex = a_ObjectIndex;
    gl_Position = reviewVertex(viewProjMat * vec4(world, 1.0), world);
}
#vertexend

#fragmentbegin
#include "review"

void main()
{
    reviewClip();
    // Constant over the object; the interpolation may stray by a rounding.
    float i = floor(v_PickIndex + 0.5);
    float high = floor(i / 65536.0);
    float middle = floor((i - high * 65536.0) / 256.0);
    float low = i - high * 65536.0 - middle * 256.0;
    gl_FragData[0] = vec4(low, middle, high, 255.0) / 255.0;
    gl_FragData[1] = vec4(v_ReviewWorld, 1.0);
}
#fragmentend
