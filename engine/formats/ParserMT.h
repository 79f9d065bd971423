#pragma once

#include "formats/Parser.h"

namespace Velda {

// Builds the Material of an AssetMaterial from a material document. The
// texture keys take element i only for a channel i that "texon" switched on.
class ParserMT : public Parser {
public:
    bool parse(const void* root, uint32_t size, Asset* asset, int flag) override;
};

} // namespace Velda
