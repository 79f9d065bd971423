#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Velda {

// The `props` file of a project: what each scene object is in its source
// model. Plain values, UTF-8 text.
struct PropValue {
    std::string name, value;
    std::string unit;  // "mm", "m²", ...; empty where the source gives none
    std::string type;  // the source's value type, e.g. "IfcLengthMeasure"; may be empty
};

struct PropSet {
    std::string name;
    bool quantities = false;  // a quantity set rather than a property set
    std::vector<PropValue> values;
};

// One level of the spatial structure that holds an object, outermost first.
struct SpatialLevel {
    std::string className, name, source;
};

struct PropsEntry {
    std::string source;     // IFC GlobalId, or the node path for other formats
    std::string name;
    std::string className;  // "IfcWall", or the node's type
    std::vector<SpatialLevel> spatial;
    std::vector<PropSet> sets;
};

struct ProjectProps {
    int32_t version = 1;
    // Metres per model unit (the unit of the index's coordinates, before the
    // viewer scales the scene); 0 when the source does not say.
    double metresPerUnit = 0.0;
    std::string sourceUnit;  // the source's own length unit, e.g. "mm"; may be empty
    float min[3] = {0, 0, 0}, max[3] = {0, 0, 0};  // the scene's box in model units
    std::vector<PropsEntry> entries;
    std::map<int32_t, uint32_t> objectEntry;  // scene object id -> entry

    // The entry of a scene object, or null.
    const PropsEntry* entryOf(int32_t objectId) const;
};

// The file: u32 uncompressed size, then one zlib stream holding one
// document (as `index`). Throws std::length_error where text does not fit
// the container (a text longer than 65535 bytes is cut first, so in
// practice it does not), std::runtime_error when zlib fails.
std::vector<unsigned char> packProjectProps(const ProjectProps& props);

// Reads a `props` file; throws std::runtime_error with the reason when the
// bytes are not one.
ProjectProps parseProjectProps(const unsigned char* data, size_t size);

} // namespace Velda
