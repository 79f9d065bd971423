#include "IfcStyles.h"

#include <ifcpp/IFC4/include/IfcBooleanResult.h>
#include <ifcpp/IFC4/include/IfcColourRgb.h>
#include <ifcpp/IFC4/include/IfcColourRgbList.h>
#include <ifcpp/IFC4/include/IfcIndexedColourMap.h>
#include <ifcpp/IFC4/include/IfcMaterial.h>
#include <ifcpp/IFC4/include/IfcMaterialConstituent.h>
#include <ifcpp/IFC4/include/IfcMaterialConstituentSet.h>
#include <ifcpp/IFC4/include/IfcMaterialDefinitionRepresentation.h>
#include <ifcpp/IFC4/include/IfcMaterialLayer.h>
#include <ifcpp/IFC4/include/IfcMaterialLayerSet.h>
#include <ifcpp/IFC4/include/IfcMaterialLayerSetUsage.h>
#include <ifcpp/IFC4/include/IfcMaterialList.h>
#include <ifcpp/IFC4/include/IfcMaterialProfile.h>
#include <ifcpp/IFC4/include/IfcMaterialProfileSet.h>
#include <ifcpp/IFC4/include/IfcMaterialProfileSetUsage.h>
#include <ifcpp/IFC4/include/IfcNormalisedRatioMeasure.h>
#include <ifcpp/IFC4/include/IfcObject.h>
#include <ifcpp/IFC4/include/IfcPositiveInteger.h>
#include <ifcpp/IFC4/include/IfcPresentationStyleAssignment.h>
#include <ifcpp/IFC4/include/IfcRelAssociatesMaterial.h>
#include <ifcpp/IFC4/include/IfcRelDefinesByType.h>
#include <ifcpp/IFC4/include/IfcRepresentation.h>
#include <ifcpp/IFC4/include/IfcRepresentationItem.h>
#include <ifcpp/IFC4/include/IfcStyledItem.h>
#include <ifcpp/IFC4/include/IfcSurfaceStyle.h>
#include <ifcpp/IFC4/include/IfcSurfaceStyleRendering.h>
#include <ifcpp/IFC4/include/IfcSurfaceStyleShading.h>
#include <ifcpp/IFC4/include/IfcTessellatedFaceSet.h>
#include <ifcpp/IFC4/include/IfcTypeObject.h>

#include <algorithm>
#include <tuple>

namespace VeldaPack {

bool IfcColour::operator<(const IfcColour& o) const
{
    return std::tie(known, r, g, b, a) < std::tie(o.known, o.r, o.g, o.b, o.a);
}

namespace IfcStyles {

namespace {

float ratio(const shared_ptr<IfcNormalisedRatioMeasure>& m, float otherwise)
{
    return m ? static_cast<float>(std::min(1.0, std::max(0.0, m->m_value))) : otherwise;
}

bool rgb(const shared_ptr<IfcColourRgb>& c, IfcColour& out)
{
    if (!c)
        return false;
    out.r = ratio(c->m_Red, 0.7f);
    out.g = ratio(c->m_Green, 0.7f);
    out.b = ratio(c->m_Blue, 0.7f);
    out.known = true;
    return true;
}

IfcColour surfaceStyle(const shared_ptr<IfcSurfaceStyle>& style)
{
    IfcColour out;
    if (!style)
        return out;
    for (const auto& element : style->m_Styles) {
        const auto shading = dynamic_pointer_cast<IfcSurfaceStyleShading>(element);
        if (!shading)
            continue;
        rgb(shading->m_SurfaceColour, out);
        // The diffuse colour, given as a colour, replaces the surface colour;
        // given as a factor, it scales it.
        if (const auto rendering = dynamic_pointer_cast<IfcSurfaceStyleRendering>(shading)) {
            if (!rgb(dynamic_pointer_cast<IfcColourRgb>(rendering->m_DiffuseColour), out))
                if (const auto factor = dynamic_pointer_cast<IfcNormalisedRatioMeasure>(rendering->m_DiffuseColour)) {
                    const float f = ratio(factor, 1.0f);
                    out.r *= f;
                    out.g *= f;
                    out.b *= f;
                }
        }
        if (shading->m_Transparency)
            out.a = 1.0f - ratio(shading->m_Transparency, 0.0f);
        out.known = true;
        return out;
    }
    return out;
}

IfcColour styledItem(const shared_ptr<IfcStyledItem>& styled)
{
    if (!styled)
        return IfcColour();
    for (const auto& assigned : styled->m_Styles) {
        if (const auto surface = dynamic_pointer_cast<IfcSurfaceStyle>(assigned)) {
            const IfcColour c = surfaceStyle(surface);
            if (c.known)
                return c;
        }
        if (const auto assignment = dynamic_pointer_cast<IfcPresentationStyleAssignment>(assigned))
            for (const auto& style : assignment->m_Styles) {
                const IfcColour c = surfaceStyle(dynamic_pointer_cast<IfcSurfaceStyle>(style));
                if (c.known)
                    return c;
            }
    }
    return IfcColour();
}

IfcColour ownStyle(const shared_ptr<IfcRepresentationItem>& item)
{
    for (const auto& weak : item->m_StyledByItem_inverse) {
        const IfcColour c = styledItem(weak.lock());
        if (c.known)
            return c;
    }
    return IfcColour();
}

IfcColour ofMaterial(const shared_ptr<IfcMaterial>& material)
{
    if (!material)
        return IfcColour();
    for (const auto& weak : material->m_HasRepresentation_inverse) {
        const auto definition = weak.lock();
        if (!definition)
            continue;
        for (const auto& representation : definition->m_Representations) {
            if (!representation)
                continue;
            for (const auto& item : representation->m_Items) {
                const IfcColour c = styledItem(dynamic_pointer_cast<IfcStyledItem>(item));
                if (c.known)
                    return c;
            }
        }
    }
    return IfcColour();
}

IfcColour ofMaterialSelect(const shared_ptr<IfcMaterialSelect>& select)
{
    if (const auto m = dynamic_pointer_cast<IfcMaterial>(select))
        return ofMaterial(m);
    const auto first = [](const auto& list, const auto& materialOf) {
        for (const auto& entry : list)
            if (entry) {
                const IfcColour c = ofMaterial(materialOf(entry));
                if (c.known)
                    return c;
            }
        return IfcColour();
    };
    const auto layerMaterial = [](const shared_ptr<IfcMaterialLayer>& l) { return l->m_Material; };
    const auto plain = [](const shared_ptr<IfcMaterial>& m) { return m; };
    if (const auto usage = dynamic_pointer_cast<IfcMaterialLayerSetUsage>(select))
        return usage->m_ForLayerSet ? first(usage->m_ForLayerSet->m_MaterialLayers, layerMaterial) : IfcColour();
    if (const auto set = dynamic_pointer_cast<IfcMaterialLayerSet>(select))
        return first(set->m_MaterialLayers, layerMaterial);
    if (const auto layer = dynamic_pointer_cast<IfcMaterialLayer>(select))
        return ofMaterial(layer->m_Material);
    if (const auto list = dynamic_pointer_cast<IfcMaterialList>(select))
        return first(list->m_Materials, plain);
    if (const auto set = dynamic_pointer_cast<IfcMaterialConstituentSet>(select))
        return first(set->m_MaterialConstituents,
                     [](const shared_ptr<IfcMaterialConstituent>& c) { return c->m_Material; });
    const auto profileMaterial = [](const shared_ptr<IfcMaterialProfile>& p) { return p->m_Material; };
    if (const auto usage = dynamic_pointer_cast<IfcMaterialProfileSetUsage>(select))
        return usage->m_ForProfileSet ? first(usage->m_ForProfileSet->m_MaterialProfiles, profileMaterial)
                                      : IfcColour();
    if (const auto set = dynamic_pointer_cast<IfcMaterialProfileSet>(select))
        return first(set->m_MaterialProfiles, profileMaterial);
    return IfcColour();
}

IfcColour associated(const shared_ptr<IfcObjectDefinition>& object)
{
    for (const auto& weak : object->m_HasAssociations_inverse) {
        const auto material = dynamic_pointer_cast<IfcRelAssociatesMaterial>(weak.lock());
        if (!material)
            continue;
        const IfcColour c = ofMaterialSelect(material->m_RelatingMaterial);
        if (c.known)
            return c;
    }
    return IfcColour();
}

} // namespace

IfcColour itemColour(const shared_ptr<IfcRepresentationItem>& item)
{
    // Nested cuts: the first operand of each, down to a bounded depth (the
    // text pass has refused cycles already).
    shared_ptr<IfcRepresentationItem> at = item;
    for (int depth = 0; at && depth < 256; ++depth) {
        const IfcColour c = ownStyle(at);
        if (c.known)
            return c;
        const auto boolean = dynamic_pointer_cast<IfcBooleanResult>(at);
        at = boolean ? dynamic_pointer_cast<IfcRepresentationItem>(boolean->m_FirstOperand) : nullptr;
    }
    return IfcColour();
}

IfcColour materialColour(const shared_ptr<IfcObjectDefinition>& object)
{
    if (!object)
        return IfcColour();
    const IfcColour own = associated(object);
    if (own.known)
        return own;
    if (const auto occurrence = dynamic_pointer_cast<IfcObject>(object))
        for (const auto& weak : occurrence->m_IsTypedBy_inverse) {
            const auto typed = weak.lock();
            if (typed && typed->m_RelatingType) {
                const IfcColour c = associated(typed->m_RelatingType);
                if (c.known)
                    return c;
            }
        }
    return IfcColour();
}

bool faceColours(const shared_ptr<IfcTessellatedFaceSet>& set, std::vector<IfcColour>& palette,
                 std::vector<uint32_t>& faces)
{
    for (const auto& weak : set->m_HasColours_inverse) {
        const auto map = weak.lock();
        if (!map || !map->m_Colours)
            continue;
        palette.clear();
        faces.clear();
        const float alpha = map->m_Opacity ? ratio(map->m_Opacity, 1.0f) : 1.0f;
        for (const auto& entry : map->m_Colours->m_ColourList) {
            IfcColour c;
            if (entry.size() >= 3) {
                c.r = ratio(entry[0], 0.7f);
                c.g = ratio(entry[1], 0.7f);
                c.b = ratio(entry[2], 0.7f);
                c.known = true;
            }
            c.a = alpha;
            palette.push_back(c);
        }
        if (palette.empty())
            return false;
        for (const auto& index : map->m_ColourIndex) {
            const int k = index ? index->m_value : 0;
            faces.push_back(k >= 1 && static_cast<size_t>(k) <= palette.size() ? static_cast<uint32_t>(k - 1) : 0u);
        }
        return true;
    }
    return false;
}

} // namespace IfcStyles
} // namespace VeldaPack
