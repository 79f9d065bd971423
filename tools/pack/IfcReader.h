#pragma once

#include "PackProgress.h"
#include "PackScene.h"

#include <cstdint>
#include <string>

namespace VeldaPack {

struct IfcReadOptions {
    bool spaces = false;                 // draw IfcSpace too
    uint64_t maxBytes = 2048ull << 20;   // larger files are refused before reading
    unsigned processes = 0;              // geometry workers; 0: one a core
    PackProgress progress;               // "read" (the library's parse), then "shapes"
};

// Reads an IFC file (STEP, IFC2X3, IFC4 or IFC4X3) with the IFC library:
// one object per product and colour, in metres, +z up, each with its
// identity and properties; `note` tells the schema, the times and the
// workers. Throws RefusedInput for input unsafe to read, PackError for what
// the library cannot read.
PackScene readIfc(const std::string& path, const IfcReadOptions& options);

} // namespace VeldaPack
