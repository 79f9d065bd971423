#include "render/ReviewBinding.h"

#include "render/Context3d.h"
#include "render/ShaderProgram.h"
#include "scene/RenderItem.h"
#include "scene/ReviewState.h"

#include <GL/glew.h>

namespace Velda {

namespace {
const char* const kIndexAttribute = "a_ObjectIndex";
}

ReviewBinding::ReviewBinding(ShaderProgram& program, const RenderItem& item, const Context3d& owner)
{
    if (!program.hasUniform("u_ObjectStateSize"))
        return;
    const ObjectStateTexture& states = owner.objectStates();
    program.setDataTexture("u_ObjectState", states.name());
    program.setVec2("u_ObjectStateSize", static_cast<float>(states.width()), static_cast<float>(states.height()));

    const ReviewState& review = owner.review;
    if (review.sectioned()) {
        const Vector3& lo = review.section().getMin();
        const Vector3& hi = review.section().getMax();
        program.setVec3("u_SectionMin", lo.x, lo.y, lo.z);
        program.setVec3("u_SectionMax", hi.x, hi.y, hi.z);
    } else {
        program.setVec3("u_SectionMin", -3.0e38f, -3.0e38f, -3.0e38f);
        program.setVec3("u_SectionMax", 3.0e38f, 3.0e38f, 3.0e38f);
    }

    const auto column = item.layout ? item.layout->find("ObjectIndex") : Layout::const_iterator();
    if (item.merged && item.layout && column != item.layout->end() && program.hasAttribute(kIndexAttribute)) {
        const LayoutEntry& e = column->second;
        program.setAttributeBuffer(kIndexAttribute, e.buffer, e.offset, e.components);
        arrayLocation_ = program.attributes().at(kIndexAttribute);
    } else {
        program.setConstantAttribute(kIndexAttribute, static_cast<float>(item.objectIndex));
    }
}

ReviewBinding::~ReviewBinding()
{
    if (arrayLocation_ >= 0)
        glDisableVertexAttribArray(static_cast<GLuint>(arrayLocation_));
}

} // namespace Velda
