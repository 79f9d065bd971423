#pragma once

#include "IfcStyles.h"

#include <memory>
#include <string>
#include <vector>

class BuildingModel;
class IfcProduct;

namespace VeldaPack {

// Triangles of one colour, in world coordinates (metres, +z up).
struct ShapePart {
    IfcColour colour;
    std::vector<float> positions, normals;  // three per vertex
    std::vector<uint32_t> indices;          // three per triangle
};

struct ProductShape {
    std::vector<ShapePart> parts;
    uint32_t errors = 0;  // items or cuts the converter gave up on
};

// A product's body as triangles, one part per colour: openings cut, mapped
// items placed, colours from the items' styles, the cuts' inputs, indexed
// colour maps and the associated material. This is the one unit that
// compiles the library's geometry converter (header code, slow to build).
class IfcShapeConverter {
public:
    explicit IfcShapeConverter(const std::shared_ptr<BuildingModel>& model);
    ~IfcShapeConverter();
    IfcShapeConverter(const IfcShapeConverter&) = delete;
    IfcShapeConverter& operator=(const IfcShapeConverter&) = delete;

    ProductShape convert(const std::shared_ptr<IfcProduct>& product);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace VeldaPack
