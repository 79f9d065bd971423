#pragma once

#include "formats/ProjectProps.h"

#include <map>
#include <memory>
#include <string>

class BuildingModel;
class IfcProduct;

namespace VeldaPack {

// What an IFC product is: GlobalId, name, class, the spatial structure that
// holds it, and its property and quantity sets (its type's too), values as
// text with the units the file gives, explicitly or through the project's
// unit assignment.
class IfcPropertyReader {
public:
    explicit IfcPropertyReader(const std::shared_ptr<BuildingModel>& model);

    Velda::PropsEntry entryOf(const std::shared_ptr<IfcProduct>& product) const;

    // The project's length unit as a symbol ("mm", "m", "ft"), or empty.
    const std::string& lengthUnit() const { return lengthUnit_; }

private:
    std::map<std::string, std::string> unitByType_;  // "LENGTHUNIT" -> "mm"
    std::string lengthUnit_;
};

} // namespace VeldaPack
