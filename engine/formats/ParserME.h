#pragma once

#include "formats/Parser.h"

namespace Velda {

// Builds the Geometry of an AssetMesh from a mesh document: "id", "vnum",
// then "attribs" (groups of floats) and "indices" (tag 9: 16-bit, else
// 32-bit). Makes GL calls. An index set that points past the vertices is
// left out, so a corrupt file cannot make the driver read out of bounds.
class ParserME : public Parser {
public:
    bool parse(const void* root, uint32_t size, Asset* asset, int flag) override;
};

} // namespace Velda
