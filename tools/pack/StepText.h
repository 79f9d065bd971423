#pragma once

#include <cstdint>
#include <string>

namespace VeldaPack {

// A STEP (ISO 10303-21) text made ready for the IFC library, and what was
// changed on the way.
struct PreparedStep {
    std::string text;
    std::string schema;          // FILE_SCHEMA as the file names it, e.g. "IFC2X3", "IFC4X3_ADD2"
    uint64_t instances = 0;
    uint64_t curvesRewritten = 0;  // IfcIndexedPolyCurve given as IfcPolyline
    uint64_t argumentsMapped = 0;  // instances whose arguments were fitted to IFC4
};

struct StepLimits {
    // Longest chain of references the geometry may follow: deeper (or
    // cyclic) input would recurse without bound in the converters.
    uint32_t maxDepth = 2000;
};

// One pass over the text, linear in its size:
//  - FILE_SCHEMA is read; IFC4X3 (and IFC4X1, IFC4X2) are renamed IFC4 and
//    the instances whose arguments changed are fitted to IFC4 (tessellated
//    face sets, point lists with tags);
//  - IfcIndexedPolyCurve, whose segments the library cannot parse, becomes
//    an IfcPolyline through new points (arcs divided);
//  - entity ids beyond 32 bits, reference cycles, chains deeper than the
//    limit and cut files (no end of the DATA section) are refused.
// Throws PackError with a one-line reason.
PreparedStep prepareStep(std::string text, const StepLimits& limits = StepLimits());

} // namespace VeldaPack
