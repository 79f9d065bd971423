// The review tools' part of the scene's programs, included where a program
// says #include "review". With OK_REVIEW undefined it is three no-ops, so
// the programs are the plain ones.
#globalbegin
#ifdef OK_REVIEW
varying float v_ReviewSelected;
varying vec3 v_ReviewWorld;
#endif
#globalend

#vertexbegin
#ifdef OK_REVIEW
// The object's 1-based place among the scene's meshes: an array of the
// merged batches, a constant value for a single object.
attribute float a_ObjectIndex;
// One texel per object, rows of u_ObjectStateSize.x: red hidden, green selected.
uniform sampler2D u_ObjectState;
uniform vec2 u_ObjectStateSize;

// A hidden object's vertices all go to one point outside the clip volume,
// so its triangles vanish before they make a fragment.
vec4 reviewVertex(vec4 position, vec3 world)
{
    float row = floor(a_ObjectIndex / u_ObjectStateSize.x);
    float column = a_ObjectIndex - row * u_ObjectStateSize.x;
    vec2 uv = vec2((column + 0.5) / u_ObjectStateSize.x, (row + 0.5) / u_ObjectStateSize.y);
    // A vertex shader reads the base level: the table has no other.
    vec4 state = texture2D(u_ObjectState, uv);
    v_ReviewSelected = state.g;
    v_ReviewWorld = world;
    if (state.r > 0.5)
        return vec4(2.0, 2.0, 2.0, 1.0);
    return position;
}
#else
#define reviewVertex(position, world) (position)
#endif
#vertexend

#fragmentbegin
#ifdef OK_REVIEW
uniform vec3 u_SectionMin;
uniform vec3 u_SectionMax;

// The section box: what lies outside it is cut away.
void reviewClip()
{
    if (any(lessThan(v_ReviewWorld, u_SectionMin)) || any(greaterThan(v_ReviewWorld, u_SectionMax)))
        discard;
}

// The selection shows through a cool tint that the white model keeps too.
vec3 reviewTint(vec3 color)
{
    return mix(color, vec3(0.0, 0.16, 0.75), 0.75 * v_ReviewSelected);
}
#else
#define reviewClip()
#define reviewTint(color) (color)
#endif
#fragmentend
