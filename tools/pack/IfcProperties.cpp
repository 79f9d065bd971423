#include "IfcProperties.h"

#include "formats/TextHelpers.h"

#include <ifcpp/IFC4/include/IfcAreaMeasure.h>
#include <ifcpp/IFC4/include/IfcComplexProperty.h>
#include <ifcpp/IFC4/include/IfcCountMeasure.h>
#include <ifcpp/IFC4/include/IfcElement.h>
#include <ifcpp/IFC4/include/IfcLengthMeasure.h>
#include <ifcpp/IFC4/include/IfcMassMeasure.h>
#include <ifcpp/IFC4/include/IfcTimeMeasure.h>
#include <ifcpp/IFC4/include/IfcVolumeMeasure.h>
#include <ifcpp/IFC4/include/IfcConversionBasedUnit.h>
#include <ifcpp/IFC4/include/IfcElementQuantity.h>
#include <ifcpp/IFC4/include/IfcGloballyUniqueId.h>
#include <ifcpp/IFC4/include/IfcIdentifier.h>
#include <ifcpp/IFC4/include/IfcLabel.h>
#include <ifcpp/IFC4/include/IfcNamedUnit.h>
#include <ifcpp/IFC4/include/IfcObject.h>
#include <ifcpp/IFC4/include/IfcPhysicalSimpleQuantity.h>
#include <ifcpp/IFC4/include/IfcProduct.h>
#include <ifcpp/IFC4/include/IfcProject.h>
#include <ifcpp/IFC4/include/IfcPropertyBoundedValue.h>
#include <ifcpp/IFC4/include/IfcPropertyEnumeratedValue.h>
#include <ifcpp/IFC4/include/IfcPropertyListValue.h>
#include <ifcpp/IFC4/include/IfcPropertySet.h>
#include <ifcpp/IFC4/include/IfcPropertySetDefinitionSet.h>
#include <ifcpp/IFC4/include/IfcPropertySingleValue.h>
#include <ifcpp/IFC4/include/IfcQuantityArea.h>
#include <ifcpp/IFC4/include/IfcQuantityCount.h>
#include <ifcpp/IFC4/include/IfcQuantityLength.h>
#include <ifcpp/IFC4/include/IfcQuantityTime.h>
#include <ifcpp/IFC4/include/IfcQuantityVolume.h>
#include <ifcpp/IFC4/include/IfcQuantityWeight.h>
#include <ifcpp/IFC4/include/IfcRelAggregates.h>
#include <ifcpp/IFC4/include/IfcRelContainedInSpatialStructure.h>
#include <ifcpp/IFC4/include/IfcRelDefinesByProperties.h>
#include <ifcpp/IFC4/include/IfcRelDefinesByType.h>
#include <ifcpp/IFC4/include/IfcSIPrefix.h>
#include <ifcpp/IFC4/include/IfcSIUnit.h>
#include <ifcpp/IFC4/include/IfcSIUnitName.h>
#include <ifcpp/IFC4/include/IfcSpatialElement.h>
#include <ifcpp/IFC4/include/IfcTypeObject.h>
#include <ifcpp/IFC4/include/IfcUnitAssignment.h>
#include <ifcpp/IFC4/include/IfcUnitEnum.h>
#include <ifcpp/IFC4/include/IfcValue.h>
#include <ifcpp/model/BuildingModel.h>

#include <set>
#include <unordered_set>

namespace VeldaPack {

using Velda::PropSet;
using Velda::PropValue;
using Velda::PropsEntry;

namespace {

std::string text(const std::wstring& w)
{
    return Velda::wideToUtf8(w);
}

template <typename Label>
std::string textOf(const shared_ptr<Label>& label)
{
    return label ? text(label->m_value) : std::string();
}

std::string valueText(const shared_ptr<BuildingObject>& value)
{
    return value ? text(value->toString()) : std::string();
}

const std::map<std::string, std::string>& prefixes()
{
    static const std::map<std::string, std::string> p = {
        {"EXA", "E"}, {"PETA", "P"}, {"TERA", "T"}, {"GIGA", "G"}, {"MEGA", "M"}, {"KILO", "k"},
        {"HECTO", "h"}, {"DECA", "da"}, {"DECI", "d"}, {"CENTI", "c"}, {"MILLI", "m"}, {"MICRO", "µ"},
        {"NANO", "n"}, {"PICO", "p"}, {"FEMTO", "f"}, {"ATTO", "a"}};
    return p;
}

const std::map<std::string, std::string>& siNames()
{
    static const std::map<std::string, std::string> n = {
        {"METRE", "m"}, {"SQUARE_METRE", "m²"}, {"CUBIC_METRE", "m³"}, {"GRAM", "g"}, {"SECOND", "s"},
        {"RADIAN", "rad"}, {"STERADIAN", "sr"}, {"DEGREE_CELSIUS", "°C"}, {"KELVIN", "K"}, {"NEWTON", "N"},
        {"PASCAL", "Pa"}, {"WATT", "W"}, {"JOULE", "J"}, {"VOLT", "V"}, {"AMPERE", "A"}, {"HERTZ", "Hz"},
        {"LUMEN", "lm"}, {"LUX", "lx"}, {"CANDELA", "cd"}, {"MOLE", "mol"}, {"OHM", "Ω"}, {"COULOMB", "C"},
        {"FARAD", "F"}, {"HENRY", "H"}, {"SIEMENS", "S"}, {"TESLA", "T"}, {"WEBER", "Wb"}, {"BECQUEREL", "Bq"},
        {"GRAY", "Gy"}, {"SIEVERT", "Sv"}};
    return n;
}

// "." around enumeration values, as the library writes them, goes.
std::string bare(std::string s)
{
    if (s.size() >= 2 && s.front() == '.' && s.back() == '.')
        s = s.substr(1, s.size() - 2);
    return s;
}

std::string unitSymbol(const shared_ptr<IfcUnit>& unit)
{
    if (const auto si = dynamic_pointer_cast<IfcSIUnit>(unit)) {
        const std::string name = si->m_Name ? bare(text(si->m_Name->toString())) : std::string();
        const auto symbol = siNames().find(name);
        std::string out = symbol != siNames().end() ? symbol->second : name;
        if (si->m_Prefix) {
            const auto p = prefixes().find(bare(text(si->m_Prefix->toString())));
            if (p != prefixes().end())
                out = p->second + out;
        }
        return out;
    }
    if (const auto converted = dynamic_pointer_cast<IfcConversionBasedUnit>(unit))
        return textOf(converted->m_Name);
    return std::string();
}

// The unit type that a measure type takes its unit from.
const char* unitTypeOf(const std::string& measure)
{
    static const std::map<std::string, const char*> m = {
        {"IfcLengthMeasure", "LENGTHUNIT"}, {"IfcPositiveLengthMeasure", "LENGTHUNIT"},
        {"IfcNonNegativeLengthMeasure", "LENGTHUNIT"}, {"IfcAreaMeasure", "AREAUNIT"},
        {"IfcVolumeMeasure", "VOLUMEUNIT"}, {"IfcMassMeasure", "MASSUNIT"}, {"IfcTimeMeasure", "TIMEUNIT"},
        {"IfcPlaneAngleMeasure", "PLANEANGLEUNIT"}, {"IfcPositivePlaneAngleMeasure", "PLANEANGLEUNIT"},
        {"IfcThermodynamicTemperatureMeasure", "THERMODYNAMICTEMPERATUREUNIT"}, {"IfcPowerMeasure", "POWERUNIT"},
        {"IfcForceMeasure", "FORCEUNIT"}, {"IfcPressureMeasure", "PRESSUREUNIT"},
        {"IfcEnergyMeasure", "ENERGYUNIT"}, {"IfcFrequencyMeasure", "FREQUENCYUNIT"},
        {"IfcElectricCurrentMeasure", "ELECTRICCURRENTUNIT"}, {"IfcElectricVoltageMeasure", "ELECTRICVOLTAGEUNIT"},
        {"IfcIlluminanceMeasure", "ILLUMINANCEUNIT"}, {"IfcLuminousFluxMeasure", "LUMINOUSFLUXUNIT"}};
    const auto it = m.find(measure);
    return it != m.end() ? it->second : nullptr;
}

class SetReader {
public:
    explicit SetReader(const std::map<std::string, std::string>& units) : units_(units) {}

    void value(PropSet& set, const std::string& name, const shared_ptr<IfcValue>& v,
               const shared_ptr<IfcUnit>& unit)
    {
        PropValue p;
        p.name = name;
        p.value = valueText(v);
        p.type = v ? v->className() : "";
        p.unit = unit ? unitSymbol(unit) : defaultUnit(p.type);
        set.values.push_back(std::move(p));
    }

    void list(PropSet& set, const std::string& name, const std::vector<shared_ptr<IfcValue>>& values,
              const shared_ptr<IfcUnit>& unit)
    {
        PropValue p;
        p.name = name;
        for (const auto& v : values) {
            if (!v)
                continue;
            p.value += (p.value.empty() ? "" : ", ") + valueText(v);
            p.type = v->className();
        }
        p.unit = unit ? unitSymbol(unit) : defaultUnit(p.type);
        set.values.push_back(std::move(p));
    }

    void property(PropSet& set, const shared_ptr<IfcProperty>& property, const std::string& prefix, int depth)
    {
        if (!property)
            return;
        const std::string name = prefix + textOf(property->m_Name);
        if (const auto single = dynamic_pointer_cast<IfcPropertySingleValue>(property)) {
            value(set, name, single->m_NominalValue, single->m_Unit);
        } else if (const auto enumerated = dynamic_pointer_cast<IfcPropertyEnumeratedValue>(property)) {
            list(set, name, enumerated->m_EnumerationValues, nullptr);
        } else if (const auto listed = dynamic_pointer_cast<IfcPropertyListValue>(property)) {
            list(set, name, listed->m_ListValues, listed->m_Unit);
        } else if (const auto bounded = dynamic_pointer_cast<IfcPropertyBoundedValue>(property)) {
            std::vector<shared_ptr<IfcValue>> bounds;
            for (const auto& b : {bounded->m_LowerBoundValue, bounded->m_UpperBoundValue})
                if (b)
                    bounds.push_back(b);
            list(set, name, bounds, bounded->m_Unit);
            if (!set.values.empty() && bounds.size() == 2)
                set.values.back().value = valueText(bounds[0]) + " – " + valueText(bounds[1]);
        } else if (const auto complex = dynamic_pointer_cast<IfcComplexProperty>(property)) {
            if (depth < 8)
                for (const auto& part : complex->m_HasProperties)
                    this->property(set, part, name + ".", depth + 1);
        }
    }

    bool quantity(PropSet& set, const shared_ptr<IfcPhysicalQuantity>& q)
    {
        const auto simple = dynamic_pointer_cast<IfcPhysicalSimpleQuantity>(q);
        if (!simple)
            return false;
        PropValue p;
        p.name = textOf(q->m_Name);
        shared_ptr<BuildingObject> v;
        const char* unitType = nullptr;
        if (const auto l = dynamic_pointer_cast<IfcQuantityLength>(q)) {
            v = l->m_LengthValue;
            unitType = "LENGTHUNIT";
        } else if (const auto a = dynamic_pointer_cast<IfcQuantityArea>(q)) {
            v = a->m_AreaValue;
            unitType = "AREAUNIT";
        } else if (const auto vol = dynamic_pointer_cast<IfcQuantityVolume>(q)) {
            v = vol->m_VolumeValue;
            unitType = "VOLUMEUNIT";
        } else if (const auto w = dynamic_pointer_cast<IfcQuantityWeight>(q)) {
            v = w->m_WeightValue;
            unitType = "MASSUNIT";
        } else if (const auto t = dynamic_pointer_cast<IfcQuantityTime>(q)) {
            v = t->m_TimeValue;
            unitType = "TIMEUNIT";
        } else if (const auto c = dynamic_pointer_cast<IfcQuantityCount>(q)) {
            v = c->m_CountValue;
        }
        p.value = valueText(v);
        p.type = v ? v->className() : q->className();
        if (simple->m_Unit)
            p.unit = unitSymbol(simple->m_Unit);
        else if (unitType)
            p.unit = unitFor(unitType);
        set.values.push_back(std::move(p));
        return true;
    }

private:
    std::string defaultUnit(const std::string& measure) const
    {
        const char* type = unitTypeOf(measure);
        return type ? unitFor(type) : std::string();
    }
    std::string unitFor(const char* type) const
    {
        const auto it = units_.find(type);
        return it != units_.end() ? it->second : std::string();
    }

    const std::map<std::string, std::string>& units_;
};

void addDefinition(const shared_ptr<IfcPropertySetDefinition>& definition, SetReader& reader,
                   std::vector<PropSet>& sets, std::set<std::string>& names)
{
    if (const auto props = dynamic_pointer_cast<IfcPropertySet>(definition)) {
        PropSet set;
        set.name = textOf(props->m_Name);
        if (!names.insert("P " + set.name).second)
            return;  // the occurrence's set stands before its type's of the same name
        for (const auto& p : props->m_HasProperties)
            reader.property(set, p, "", 0);
        sets.push_back(std::move(set));
    } else if (const auto quantities = dynamic_pointer_cast<IfcElementQuantity>(definition)) {
        PropSet set;
        set.name = textOf(quantities->m_Name);
        set.quantities = true;
        if (!names.insert("Q " + set.name).second)
            return;
        for (const auto& q : quantities->m_Quantities)
            reader.quantity(set, q);
        sets.push_back(std::move(set));
    }
}

} // namespace

IfcPropertyReader::IfcPropertyReader(const std::shared_ptr<BuildingModel>& model)
{
    const shared_ptr<IfcProject> project = model->getIfcProject();
    if (!project || !project->m_UnitsInContext)
        return;
    for (const auto& unit : project->m_UnitsInContext->m_Units) {
        const auto named = dynamic_pointer_cast<IfcNamedUnit>(unit);
        if (!named || !named->m_UnitType)
            continue;
        const std::string type = bare(text(named->m_UnitType->toString()));
        const std::string symbol = unitSymbol(unit);
        if (!symbol.empty())
            unitByType_.emplace(type, symbol);
    }
    const auto length = unitByType_.find("LENGTHUNIT");
    if (length != unitByType_.end())
        lengthUnit_ = length->second;
}

PropsEntry IfcPropertyReader::entryOf(const std::shared_ptr<IfcProduct>& product) const
{
    PropsEntry e;
    e.source = product->m_GlobalId ? text(product->m_GlobalId->m_value) : std::string();
    e.name = textOf(product->m_Name);
    e.className = product->className();

    // Up from the product: the structure that contains it, or the whole it
    // is a part of, to the project (not included).
    std::vector<Velda::SpatialLevel> levels;
    std::unordered_set<const IfcObjectDefinition*> seen;
    shared_ptr<IfcObjectDefinition> at = product;
    for (int steps = 0; at && steps < 64 && seen.insert(at.get()).second; ++steps) {
        shared_ptr<IfcObjectDefinition> up;
        if (const auto element = dynamic_pointer_cast<IfcElement>(at))
            for (const auto& weak : element->m_ContainedInStructure_inverse)
                if (const auto rel = weak.lock())
                    if (rel->m_RelatingStructure) {
                        up = rel->m_RelatingStructure;
                        break;
                    }
        if (!up)
            for (const auto& weak : at->m_Decomposes_inverse)
                if (const auto rel = weak.lock())
                    if (rel->m_RelatingObject) {
                        up = rel->m_RelatingObject;
                        break;
                    }
        if (!up || dynamic_pointer_cast<IfcProject>(up))
            break;
        if (dynamic_pointer_cast<IfcSpatialElement>(up))
            levels.push_back({up->className(), textOf(up->m_Name),
                              up->m_GlobalId ? text(up->m_GlobalId->m_value) : std::string()});
        at = up;
    }
    e.spatial.assign(levels.rbegin(), levels.rend());

    SetReader reader(unitByType_);
    std::set<std::string> names;
    for (const auto& weak : product->m_IsDefinedBy_inverse) {
        const auto rel = weak.lock();
        if (!rel || !rel->m_RelatingPropertyDefinition)
            continue;
        if (const auto one = dynamic_pointer_cast<IfcPropertySetDefinition>(rel->m_RelatingPropertyDefinition))
            addDefinition(one, reader, e.sets, names);
        else if (const auto many = dynamic_pointer_cast<IfcPropertySetDefinitionSet>(rel->m_RelatingPropertyDefinition))
            for (const auto& d : many->m_vec)
                addDefinition(d, reader, e.sets, names);
    }
    for (const auto& weak : product->m_IsTypedBy_inverse) {
        const auto rel = weak.lock();
        if (rel && rel->m_RelatingType)
            for (const auto& d : rel->m_RelatingType->m_HasPropertySets)
                addDefinition(d, reader, e.sets, names);
    }
    return e;
}

} // namespace VeldaPack
