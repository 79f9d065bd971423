// The library's geometry converter is header code: it is compiled here and
// nowhere else. ENABLE_OPENMP stays undefined, as in the library's build
// (it changes class layouts).
#include <ifcpp/geometry/Carve/IncludeCarveHeaders.h>
#include <ifcpp/geometry/Carve/RepresentationConverter.h>

#include "IfcShapes.h"

#include <ifcpp/IFC4/include/IfcElement.h>
#include <ifcpp/IFC4/include/IfcFeatureElementSubtraction.h>
#include <ifcpp/IFC4/include/IfcIndexedPolygonalFace.h>
#include <ifcpp/IFC4/include/IfcLabel.h>
#include <ifcpp/IFC4/include/IfcMappedItem.h>
#include <ifcpp/IFC4/include/IfcPolygonalFaceSet.h>
#include <ifcpp/IFC4/include/IfcProduct.h>
#include <ifcpp/IFC4/include/IfcProductRepresentation.h>
#include <ifcpp/IFC4/include/IfcRelAggregates.h>
#include <ifcpp/IFC4/include/IfcRelVoidsElement.h>
#include <ifcpp/IFC4/include/IfcRepresentationMap.h>
#include <ifcpp/IFC4/include/IfcTriangulatedFaceSet.h>
#include <ifcpp/model/BuildingModel.h>
#include <ifcpp/model/UnitConverter.h>

#include <carve/triangulator.hpp>

#include <cmath>
#include <map>
#include <unordered_set>

namespace VeldaPack {

namespace {

using Matrix = carve::math::Matrix;
using MeshSet = carve::mesh::MeshSet<3>;

// Triangles made here rather than by the converter (face sets with
// per-face colours), in the product's coordinates.
struct OwnTriangles {
    std::vector<vec3> corners;         // three per triangle
    std::vector<IfcColour> colours;    // one per triangle
};

struct Item {
    shared_ptr<ItemShapeData> data;    // the converter's meshes, in the product's coordinates
    OwnTriangles own;
    IfcColour colour;
};

const int kMaxMappingDepth = 16;
// Round shapes (bars, pipes, handles) come in many: twelve sides keep them
// round to the eye at a fraction of the triangles of finer divisions.
const int kVerticesPerCircle = 12;

bool isBody(const shared_ptr<IfcRepresentation>& r)
{
    const std::wstring id = r->m_RepresentationIdentifier ? r->m_RepresentationIdentifier->m_value : L"";
    return id == L"Body" || id == L"Facetation";
}

// The representations that make the body: "Body" ones when the product
// has them, else all but axes, outlines, boxes, annotations and the like.
std::vector<shared_ptr<IfcRepresentation>> bodyOf(const shared_ptr<IfcProduct>& product)
{
    std::vector<shared_ptr<IfcRepresentation>> all, bodies;
    for (const auto& r : product->m_Representation->m_Representations)
        if (r) {
            all.push_back(r);
            if (isBody(r))
                bodies.push_back(r);
        }
    if (!bodies.empty())
        return bodies;
    static const std::unordered_set<std::wstring> notBody = {
        L"Axis", L"FootPrint", L"Box", L"Annotation", L"Profile", L"Clearance", L"Reference",
        L"Lighting", L"CoG", L"Plan", L"Body-FallBack"};
    static const std::unordered_set<std::wstring> flatTypes = {
        L"Curve", L"Curve2D", L"Curve3D", L"GeometricCurveSet", L"Annotation2D", L"Point",
        L"PointCloud", L"FillArea", L"Text", L"BoundingBox"};
    for (const auto& r : all) {
        const std::wstring id = r->m_RepresentationIdentifier ? r->m_RepresentationIdentifier->m_value : L"";
        const std::wstring type = r->m_RepresentationType ? r->m_RepresentationType->m_value : L"";
        if (!notBody.count(id) && !flatTypes.count(type))
            bodies.push_back(r);
    }
    return bodies;
}

vec3 newellNormal(const std::vector<vec3>& p)
{
    vec3 n = carve::geom::VECTOR(0.0, 0.0, 0.0);
    for (size_t i = 0; i < p.size(); ++i) {
        const vec3& a = p[i];
        const vec3& b = p[(i + 1) % p.size()];
        n.x += (a.y - b.y) * (a.z + b.z);
        n.y += (a.z - b.z) * (a.x + b.x);
        n.z += (a.x - b.x) * (a.y + b.y);
    }
    return n;
}

// Triangles of a simple polygon, as index triples, facing along `normal`.
std::vector<carve::triangulate::tri_idx> triangulate(const std::vector<vec3>& p, const vec3& normal)
{
    std::vector<carve::triangulate::tri_idx> tris;
    if (p.size() == 3) {
        tris.emplace_back(0, 1, 2);
        return tris;
    }
    const double ax = std::fabs(normal.x), ay = std::fabs(normal.y), az = std::fabs(normal.z);
    const int drop = ax >= ay && ax >= az ? 0 : (ay >= az ? 1 : 2);
    std::vector<carve::geom2d::P2> flat;
    flat.reserve(p.size());
    for (const vec3& v : p) {
        if (drop == 0)
            flat.push_back(carve::geom::VECTOR(v.y, v.z));
        else if (drop == 1)
            flat.push_back(carve::geom::VECTOR(v.z, v.x));
        else
            flat.push_back(carve::geom::VECTOR(v.x, v.y));
    }
    // The projection keeps the winding when the dropped axis points along
    // the normal; the triangulator wants it anticlockwise.
    const bool reversed = (drop == 0 ? normal.x : (drop == 1 ? normal.y : normal.z)) < 0;
    if (reversed)
        std::reverse(flat.begin(), flat.end());
    try {
        carve::triangulate::triangulate(flat, tris);
    } catch (...) {
        tris.clear();
    }
    if (tris.empty())  // a fan, for what the triangulator refuses
        for (unsigned i = 1; i + 1 < flat.size(); ++i)
            tris.emplace_back(0, i, i + 1);
    if (reversed) {
        const unsigned last = static_cast<unsigned>(p.size() - 1);
        for (auto& t : tris) {
            t = carve::triangulate::tri_idx(last - t.a, last - t.b, last - t.c);
        }
    }
    return tris;
}

// Gathers triangles by colour into parts.
class PartSink {
public:
    explicit PartSink(const Matrix& toWorld) : toWorld_(toWorld) {}

    // A polygon in the product's coordinates.
    void polygon(std::vector<vec3> corners, const IfcColour& colour)
    {
        if (corners.size() < 3)
            return;
        for (vec3& v : corners)
            v = toWorld_ * v;
        vec3 n = newellNormal(corners);
        const double length = n.length();
        if (!(length > 1e-20))
            return;  // degenerate
        n /= length;
        ShapePart& part = partOf(colour);
        const uint32_t base = static_cast<uint32_t>(part.positions.size() / 3);
        for (const vec3& v : corners) {
            part.positions.insert(part.positions.end(), {static_cast<float>(v.x), static_cast<float>(v.y),
                                                         static_cast<float>(v.z)});
            part.normals.insert(part.normals.end(), {static_cast<float>(n.x), static_cast<float>(n.y),
                                                     static_cast<float>(n.z)});
        }
        for (const auto& t : triangulate(corners, n)) {
            // Cuts leave points on straight edges: their slivers have no area.
            const vec3 e1 = corners[t.b] - corners[t.a], e2 = corners[t.c] - corners[t.a];
            const double area = carve::geom::cross(e1, e2).length();
            if (area <= 1e-9 * std::max(e1.length2(), e2.length2()))
                continue;
            part.indices.insert(part.indices.end(), {base + t.a, base + t.b, base + t.c});
        }
    }

    void meshSet(const MeshSet& set, const IfcColour& colour)
    {
        std::vector<vec3> corners;
        for (const auto* mesh : set.meshes)
            for (const auto* face : mesh->faces) {
                corners.clear();
                const auto* e = face->edge;
                for (size_t k = 0; e && k < face->nVertices(); ++k, e = e->next)
                    corners.push_back(e->vert->v);
                polygon(corners, colour);
            }
    }

    std::vector<ShapePart> take()
    {
        std::vector<ShapePart> out;
        for (auto& p : parts_)
            if (!p.second.indices.empty())
                out.push_back(std::move(p.second));
        return out;
    }

private:
    ShapePart& partOf(const IfcColour& colour)
    {
        ShapePart& p = parts_[colour];
        p.colour = colour;
        return p;
    }

    Matrix toWorld_;
    std::map<IfcColour, ShapePart> parts_;
};

void onMessage(void* counter, shared_ptr<StatusCallback::Message> m)
{
    if (m && m->m_message_type == StatusCallback::MESSAGE_TYPE_ERROR)
        ++*static_cast<uint32_t*>(counter);
}

} // namespace

struct IfcShapeConverter::Impl {
    shared_ptr<BuildingModel> model;
    shared_ptr<GeometrySettings> settings{new GeometrySettings()};
    shared_ptr<RepresentationConverter> converter;
    double lengthFactor = 1.0;
    uint32_t errors = 0;

    explicit Impl(const shared_ptr<BuildingModel>& m) : model(m)
    {
        settings->setHandleStyledItems(false);  // colours are ours
        settings->setHandleLayerAssignments(false);
        settings->setNumVerticesPerCircle(kVerticesPerCircle);
        shared_ptr<UnitConverter> units = model->getUnitConverter();
        lengthFactor = units->getLengthInMeterFactor();
        carve::setEpsilon(1.5e-05 * lengthFactor);  // as the library's own driver sets it
        converter.reset(new RepresentationConverter(settings, units));
        converter->setMessageCallBack(&errors, onMessage);
    }

    void placementOf(const shared_ptr<IfcProduct>& product, Matrix& matrix)
    {
        shared_ptr<ProductShapeData> shape(new ProductShapeData(product->m_entity_id));
        std::unordered_set<IfcObjectPlacement*> applied;
        if (product->m_ObjectPlacement)
            converter->getPlacementConverter()->convertIfcObjectPlacement(product->m_ObjectPlacement, shape, applied,
                                                                         false);
        matrix = shape->getTransform();
    }

    void faceSet(const shared_ptr<IfcTessellatedFaceSet>& set, const std::vector<IfcColour>& palette,
                 const std::vector<uint32_t>& faceColour, const Matrix& toProduct, OwnTriangles& out)
    {
        if (!set->m_Coordinates)
            return;
        const auto& coords = set->m_Coordinates->m_CoordList;
        const auto point = [&](int oneBased, const std::vector<shared_ptr<IfcPositiveInteger>>& pn, vec3& v) {
            if (!pn.empty()) {
                if (oneBased < 1 || static_cast<size_t>(oneBased) > pn.size() || !pn[oneBased - 1])
                    return false;
                oneBased = pn[oneBased - 1]->m_value;
            }
            if (oneBased < 1 || static_cast<size_t>(oneBased) > coords.size() || coords[oneBased - 1].size() < 3)
                return false;
            const auto& c = coords[oneBased - 1];
            if (!c[0] || !c[1] || !c[2])
                return false;
            v = toProduct * carve::geom::VECTOR(c[0]->m_value * lengthFactor, c[1]->m_value * lengthFactor,
                                                c[2]->m_value * lengthFactor);
            return true;
        };
        const auto colourOf = [&](size_t face) {
            return face < faceColour.size() ? palette[faceColour[face]] : palette[0];
        };
        if (const auto triangles = dynamic_pointer_cast<IfcTriangulatedFaceSet>(set)) {
            for (size_t f = 0; f < triangles->m_CoordIndex.size(); ++f) {
                const auto& t = triangles->m_CoordIndex[f];
                vec3 v[3];
                if (t.size() != 3 || !t[0] || !t[1] || !t[2] || !point(t[0]->m_value, triangles->m_PnIndex, v[0]) ||
                    !point(t[1]->m_value, triangles->m_PnIndex, v[1]) || !point(t[2]->m_value, triangles->m_PnIndex, v[2]))
                    continue;
                out.corners.insert(out.corners.end(), {v[0], v[1], v[2]});
                out.colours.push_back(colourOf(f));
            }
        } else if (const auto polygons = dynamic_pointer_cast<IfcPolygonalFaceSet>(set)) {
            for (size_t f = 0; f < polygons->m_Faces.size(); ++f) {
                if (!polygons->m_Faces[f])
                    continue;
                std::vector<vec3> corners;
                for (const auto& index : polygons->m_Faces[f]->m_CoordIndex) {
                    vec3 v;
                    if (index && point(index->m_value, polygons->m_PnIndex, v))
                        corners.push_back(v);
                }
                if (corners.size() < 3)
                    continue;
                for (const auto& t : triangulate(corners, newellNormal(corners))) {
                    out.corners.insert(out.corners.end(), {corners[t.a], corners[t.b], corners[t.c]});
                    out.colours.push_back(colourOf(f));
                }
            }
        }
    }

    // `inherited` stands where an item has no style of its own; a styled
    // mapped item's colour (`forced`) stands for all it maps.
    void addItems(const std::vector<shared_ptr<IfcRepresentationItem>>& list, const Matrix& toProduct,
                  const IfcColour& inherited, bool forced, int depth, std::vector<Item>& items)
    {
        for (const auto& item : list) {
            if (!item)
                continue;
            if (const auto mapped = dynamic_pointer_cast<IfcMappedItem>(item)) {
                const auto source = mapped->m_MappingSource;
                if (!source || !source->m_MappedRepresentation || depth >= kMaxMappingDepth)
                    continue;
                Matrix placed = toProduct;
                shared_ptr<TransformData> target, origin;
                if (mapped->m_MappingTarget)
                    converter->getPlacementConverter()->convertTransformationOperator(mapped->m_MappingTarget, target);
                if (const auto placement = dynamic_pointer_cast<IfcPlacement>(source->m_MappingOrigin))
                    converter->getPlacementConverter()->convertIfcPlacement(placement, origin);
                if (target)
                    placed = placed * target->m_matrix;
                if (origin)
                    placed = placed * origin->m_matrix;
                const IfcColour own = forced ? inherited : IfcStyles::itemColour(item);
                addItems(source->m_MappedRepresentation->m_Items, placed, own.known ? own : inherited,
                         forced || own.known, depth + 1, items);
                continue;
            }
            const auto geometric = dynamic_pointer_cast<IfcGeometricRepresentationItem>(item);
            if (!geometric)
                continue;
            Item out;
            out.colour = forced ? inherited : IfcStyles::itemColour(item);
            if (!out.colour.known)
                out.colour = inherited;
            std::vector<IfcColour> palette;
            std::vector<uint32_t> faces;
            const auto set = dynamic_pointer_cast<IfcTessellatedFaceSet>(item);
            if (set && IfcStyles::faceColours(set, palette, faces)) {
                faceSet(set, palette, faces, toProduct, out.own);
                items.push_back(std::move(out));
                continue;
            }
            out.data.reset(new ItemShapeData());
            try {
                converter->convertIfcGeometricRepresentationItem(geometric, out.data);
            } catch (const OutOfMemoryException&) {
                throw;
            } catch (...) {
                ++errors;
                continue;
            }
            out.data->applyTransformToItem(toProduct);
            items.push_back(std::move(out));
        }
    }

    // Openings of the element and of the element it is a part of, cut from
    // every closed mesh of the items.
    void cutOpenings(const shared_ptr<IfcProduct>& product, const Matrix& toWorld, std::vector<Item>& items)
    {
        std::vector<shared_ptr<IfcFeatureElementSubtraction>> openings;
        const auto collect = [&](const shared_ptr<IfcObjectDefinition>& of) {
            const auto element = dynamic_pointer_cast<IfcElement>(of);
            if (!element)
                return;
            for (const auto& weak : element->m_HasOpenings_inverse) {
                const auto voids = weak.lock();
                if (voids && voids->m_RelatedOpeningElement)
                    openings.push_back(voids->m_RelatedOpeningElement);
            }
        };
        collect(product);
        for (const auto& weak : product->m_Decomposes_inverse)
            if (const auto whole = weak.lock())
                collect(whole->m_RelatingObject);
        if (openings.empty())
            return;
        Matrix toProduct;
        try {
            GeomUtils::computeInverse(toWorld, toProduct);
        } catch (...) {
            ++errors;
            return;
        }
        std::vector<shared_ptr<MeshSet>> cutters;
        for (const auto& opening : openings) {
            if (!opening->m_Representation || !opening->m_ObjectPlacement)
                continue;
            Matrix placed;
            placementOf(opening, placed);
            const Matrix relative = toProduct * placed;
            for (const auto& representation : opening->m_Representation->m_Representations) {
                if (!representation)
                    continue;
                shared_ptr<RepresentationData> data(new RepresentationData());
                try {
                    converter->convertIfcRepresentation(representation, data);
                } catch (const OutOfMemoryException&) {
                    throw;
                } catch (...) {
                    ++errors;
                    continue;
                }
                for (const auto& item : data->m_vec_item_data) {
                    if (!item)
                        continue;
                    item->applyTransformToItem(relative);
                    for (const auto& m : item->m_meshsets)
                        if (m && !m->meshes.empty())
                            cutters.push_back(m);
                }
            }
        }
        for (Item& item : items) {
            if (!item.data)
                continue;
            for (auto& mesh : item.data->m_meshsets) {
                if (!mesh || !CSG_Adapter::checkMeshSetValidAndClosed(mesh, converter.get(), product.get()))
                    continue;
                for (auto& cutter : cutters) {
                    shared_ptr<MeshSet> result;
                    try {
                        CSG_Adapter::computeCSG(mesh, cutter, carve::csg::CSG::A_MINUS_B, result, converter.get(),
                                                product.get());
                    } catch (const OutOfMemoryException&) {
                        throw;
                    } catch (...) {
                        ++errors;
                    }
                    if (result)
                        mesh = result;
                }
            }
        }
    }

    ProductShape convert(const shared_ptr<IfcProduct>& product)
    {
        ProductShape shape;
        errors = 0;
        if (!product || !product->m_Representation)
            return shape;
        Matrix toWorld;
        placementOf(product, toWorld);
        const IfcColour material = IfcStyles::materialColour(product);
        std::vector<Item> items;
        for (const auto& representation : bodyOf(product))
            addItems(representation->m_Items, Matrix(), material, false, 0, items);
        cutOpenings(product, toWorld, items);
        PartSink sink(toWorld);
        for (const Item& item : items) {
            if (item.data) {
                for (const auto& m : item.data->m_meshsets)
                    if (m)
                        sink.meshSet(*m, item.colour);
                for (const auto& m : item.data->m_meshsets_open)
                    if (m)
                        sink.meshSet(*m, item.colour);
            }
            for (size_t t = 0; t < item.own.colours.size(); ++t)
                sink.polygon({item.own.corners[3 * t], item.own.corners[3 * t + 1], item.own.corners[3 * t + 2]},
                             item.own.colours[t]);
        }
        shape.parts = sink.take();
        shape.errors = errors;
        converter->clearCache();
        return shape;
    }
};

IfcShapeConverter::IfcShapeConverter(const std::shared_ptr<BuildingModel>& model) : impl_(new Impl(model)) {}

IfcShapeConverter::~IfcShapeConverter() = default;

ProductShape IfcShapeConverter::convert(const std::shared_ptr<IfcProduct>& product)
{
    return impl_->convert(product);
}

} // namespace VeldaPack
