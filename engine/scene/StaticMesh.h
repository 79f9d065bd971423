#pragma once

#include "scene/Object3D.h"

namespace Velda {

// The drawable of the project's scene. Surfaces and render items arrive with
// the mesh and material assets; until then it is a placed, empty object.
class StaticMesh : public Object3D {
public:
    ~StaticMesh() override = default;

    void setNoReflection(bool on) { noReflection_ = on; }
    bool getNoReflection() const { return noReflection_; }

private:
    bool noReflection_ = false;
    bool reserved_ = false;
};

} // namespace Velda
