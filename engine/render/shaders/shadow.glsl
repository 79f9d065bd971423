#globalbegin
varying vec4 v_lightSpacePos;
#include "review"
#globalend

#vertexbegin
#include "review"
uniform mat4 lightSpaceMatrix;
uniform mat4 modelMatrix;
attribute vec4 vertex;

void main()
{
    v_lightSpacePos = lightSpaceMatrix * modelMatrix * vertex;
    gl_Position = reviewVertex(v_lightSpacePos, (modelMatrix * vertex).xyz);
}
#vertexend

#fragmentbegin
#include "review"
void main()
{
    reviewClip();
    float depth = v_lightSpacePos.z / v_lightSpacePos.w * 0.5 + 0.5;
    float moment1 = depth;
    // The slope term biases the second moment per pixel, so no bias per material is needed.
    float dx = dFdx(depth);
    float dy = dFdy(depth);
    float moment2 = depth * depth + 0.25 * (dx * dx + dy * dy);
    gl_FragColor = vec4(moment1, moment2, 0.0, 1.0);
}
#fragmentend
