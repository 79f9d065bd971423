#pragma once

#include <cstdint>
#include <memory>
#include <vector>

class IfcObjectDefinition;
class IfcRepresentationItem;
class IfcTessellatedFaceSet;

namespace VeldaPack {

// A surface colour as IFC styles give it; alpha is 1 - transparency.
struct IfcColour {
    float r = 0.7f, g = 0.7f, b = 0.7f, a = 1.0f;
    bool known = false;
    bool operator<(const IfcColour& o) const;
};

// Colours from IFC presentation styles. Reads the model only, so one
// instance may serve several converters.
namespace IfcStyles {

// The item's own surface style; for a Boolean result the style of its
// first operand, where the cut's inputs carry it.
IfcColour itemColour(const std::shared_ptr<IfcRepresentationItem>& item);

// The surface style of the material associated with the object or with
// its type (layer sets, constituents and profiles by their first material).
IfcColour materialColour(const std::shared_ptr<IfcObjectDefinition>& object);

// Per-face colours of a tessellated face set from its IfcIndexedColourMap:
// `faces[i]` indexes `palette`. False when the set has no colour map.
bool faceColours(const std::shared_ptr<IfcTessellatedFaceSet>& set, std::vector<IfcColour>& palette,
                 std::vector<uint32_t>& faces);

} // namespace IfcStyles
} // namespace VeldaPack
