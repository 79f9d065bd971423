#globalbegin
varying vec2 v_UV;
#globalend

#vertexbegin
attribute vec3 a_Position;
attribute vec2 a_UV;

void main()
{
    v_UV = a_UV;
    gl_Position = vec4(a_Position, 1.0);
}
#vertexend

#fragmentbegin
uniform sampler2D blurSSAOTexure;
uniform sampler2D textureSource;

void main()
{
    vec4 scene = texture2D(textureSource, v_UV);
    float occlusion = texture2D(blurSSAOTexure, v_UV).r;
    gl_FragColor = vec4(scene.rgb * occlusion, scene.a);
}
#fragmentend
