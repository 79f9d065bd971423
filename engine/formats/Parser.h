#pragma once

#include <cstdint>

namespace Velda {

class Asset;

// Turns one fetched file (or, for the document parsers, one parsed document
// root with flag 1) into the content of an asset. Made for one file and
// dropped at once.
class Parser {
public:
    virtual ~Parser() = default;
    virtual bool parse(const void* bytes, uint32_t size, Asset* asset, int flag) = 0;
};

} // namespace Velda
