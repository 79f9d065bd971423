#globalbegin
varying vec2 TexCoords;
#globalend

#vertexbegin
attribute vec2 a_Vertex;
attribute vec2 a_UV;
uniform mat4 u_ProjMat;

void main()
{
    TexCoords = a_UV;
    gl_Position = u_ProjMat * vec4(a_Vertex, -10.0, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D image;
// x: image width, y: image height, z: 1.0 for the horizontal step.
uniform vec4 params;

const float weight[5] = float[5](0.227027, 0.1945946, 0.1216216, 0.054054, 0.016216);

void main()
{
    vec2 texel = 1.0 / params.xy;
    vec2 axis = params.z == 1.0 ? vec2(texel.x, 0.0) : vec2(0.0, texel.y);
    vec3 result = texture2D(image, TexCoords).rgb * weight[0];
    for (int i = 1; i < 5; ++i) {
        result += texture2D(image, TexCoords + axis * float(i)).rgb * weight[i];
        result += texture2D(image, TexCoords - axis * float(i)).rgb * weight[i];
    }
    gl_FragColor = vec4(result, 1.0);
}
#fragmentend
