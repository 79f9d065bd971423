// IFC through velda-pack: the project's own small IFC4 house (wall with an
// opening and a window, a slab on an indexed poly curve coloured by its
// material, a cube with an indexed colour map, two mapped cabinets, a room,
// a property set and quantities), the FZK house (IFC2X3), the IFC4X3
// mapping, and hostile input. Output is read back by the engine's readers.
#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "formats/ProjectProps.h"
#include "formats/VeldaDocNode.h"
#include "jobs/FileHelpers.h"

#include "PackError.h"
#include "Process.h"
#include "StepText.h"
#include "TempDir.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace fs = std::filesystem;
using Velda::VeldaDocNode;

namespace {

const std::string kHouse = std::string(IFC_TESTS_PATH) + "/small-house.ifc";

std::string textOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void write(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<unsigned char> bytesOf(const std::string& path)
{
    const std::string t = textOf(path);
    return std::vector<unsigned char>(t.begin(), t.end());
}

VeldaTest::ProcessResult pack(const std::vector<std::string>& args)
{
    std::vector<std::string> all = {VELDA_PACK_PATH};
    all.insert(all.end(), args.begin(), args.end());
    return VeldaTest::runProcess(all);
}

using Vec = std::array<double, 3>;

struct Shape {
    std::string className, name, source;
    std::vector<Vec> triangles;  // three corners each, world coordinates
    float colour[3] = {0, 0, 0};
    float alpha = 1;
    Vec min{}, max{};
};

// Every object of a project with its triangles in world coordinates, its
// material's colour and what props says it is.
struct Project {
    std::vector<Shape> shapes;
    Velda::ProjectProps props;
    bool hasProps = false;
    uint64_t triangles = 0;

    std::vector<const Shape*> of(const std::string& className) const
    {
        std::vector<const Shape*> out;
        for (const Shape& s : shapes)
            if (s.className == className)
                out.push_back(&s);
        return out;
    }
};

Project load(const std::string& folder)
{
    Project p;
    const std::vector<unsigned char> indexFile = bytesOf(folder + "/index");
    const VeldaClient::IndexInfo index(indexFile.data(), static_cast<unsigned>(indexFile.size()));
    std::map<int32_t, std::vector<Vec>> meshes;  // id: corners in mesh space
    std::map<int32_t, std::array<float, 4>> materials;
    const auto each = [&](const std::vector<std::string>& names, const char* ext,
                          const std::function<void(const VeldaDocNode&)>& visit) {
        for (const std::string& n : names) {
            const std::vector<unsigned char> file = bytesOf(folder + "/" + n + ext);
            Velda::unpackBundle(file.data(), file.size(),
                                [&](int, std::unique_ptr<VeldaDocNode> doc, uint32_t) { visit(*doc); });
        }
    };
    each(index.meshFiles(), ".me", [&](const VeldaDocNode& doc) {
        const VeldaDocNode* position = doc.child(L"attribs")->child(L"Position");
        const VeldaDocNode* set = doc.child(L"indices")->children.at(0);
        std::vector<float> xyz(position->dataSize / 4);
        std::memcpy(xyz.data(), position->data, xyz.size() * 4);
        std::vector<Vec>& out = meshes[doc.child(L"id")->firstInt32()];
        for (uint32_t i = 0; i < set->count; ++i) {
            uint32_t k = 0;
            if (set->type == Velda::kTagUInt16Array) {
                uint16_t s;
                std::memcpy(&s, set->data + 2 * i, 2);
                k = s;
            } else {
                std::memcpy(&k, set->data + 4 * i, 4);
            }
            out.push_back({xyz[3 * k], xyz[3 * k + 1], xyz[3 * k + 2]});
        }
    });
    each(index.materialFiles(), ".mt", [&](const VeldaDocNode& doc) {
        std::array<float, 4> c = {0.7f, 0.7f, 0.7f, 1.0f};
        doc.child(L"dif")->readFloats(c.data(), 3);
        if (const VeldaDocNode* a = doc.child(L"a"))
            c[3] = a->firstFloat();
        materials[doc.child(L"id")->firstInt32()] = c;
    });
    p.hasProps = index.hasProps();
    if (fs::exists(folder + "/props")) {
        const std::vector<unsigned char> file = bytesOf(folder + "/props");
        p.props = Velda::parseProjectProps(file.data(), file.size());
    }
    for (const auto& entry : index.objects()) {
        const VeldaClient::IndexObject& o = entry.second;
        Shape s;
        const Velda::PropsEntry* e = p.props.entryOf(o.id);
        if (e) {
            s.className = e->className;
            s.name = e->name;
            s.source = e->source;
        }
        const auto& m = o.matrix.m;  // columns contiguous
        for (const Vec& v : meshes[o.surfaces.at(0).meshId])
            s.triangles.push_back({m[0] * v[0] + m[4] * v[1] + m[8] * v[2] + m[12],
                                   m[1] * v[0] + m[5] * v[1] + m[9] * v[2] + m[13],
                                   m[2] * v[0] + m[6] * v[1] + m[10] * v[2] + m[14]});
        const std::array<float, 4>& c = materials[o.surfaces.at(0).materialId];
        std::copy(c.begin(), c.begin() + 3, s.colour);
        s.alpha = c[3];
        s.min = {o.bounds.getMin().x, o.bounds.getMin().y, o.bounds.getMin().z};
        s.max = {o.bounds.getMax().x, o.bounds.getMax().y, o.bounds.getMax().z};
        p.triangles += s.triangles.size() / 3;
        p.shapes.push_back(std::move(s));
    }
    return p;
}

Vec cross(const Vec& a, const Vec& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The area of the triangles whose normal points along `axis` (0..2) with `sign`.
double areaFacing(const Shape& s, int axis, double sign)
{
    double total = 0;
    for (size_t t = 0; t + 2 < s.triangles.size(); t += 3) {
        const Vec& a = s.triangles[t];
        const Vec e1 = {s.triangles[t + 1][0] - a[0], s.triangles[t + 1][1] - a[1], s.triangles[t + 1][2] - a[2]};
        const Vec e2 = {s.triangles[t + 2][0] - a[0], s.triangles[t + 2][1] - a[1], s.triangles[t + 2][2] - a[2]};
        const Vec n = cross(e1, e2);
        const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (length > 0 && n[axis] * sign > 0.999 * length)
            total += 0.5 * length;
    }
    return total;
}

void expectColour(const Shape& s, float r, float g, float b, float a)
{
    EXPECT_NEAR(s.colour[0], r, 1e-3) << s.className;
    EXPECT_NEAR(s.colour[1], g, 1e-3) << s.className;
    EXPECT_NEAR(s.colour[2], b, 1e-3) << s.className;
    EXPECT_NEAR(s.alpha, a, 1e-3) << s.className;
}

const Velda::PropValue* valueOf(const Velda::PropsEntry& e, const std::string& set, const std::string& name)
{
    for (const Velda::PropSet& s : e.sets)
        if (s.name == set)
            for (const Velda::PropValue& v : s.values)
                if (v.name == name)
                    return &v;
    return nullptr;
}

} // namespace

TEST(StepText, CurvesAndNewerSchemasAreFittedHostileTextIsRefused)
{
    const std::string head = "ISO-10303-21;\nHEADER;\nFILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n";
    const std::string tail = "ENDSEC;\nEND-ISO-10303-21;\n";

    // Lines and a half circle of radius 1 about (1,0): the arc is divided.
    VeldaPack::PreparedStep s = VeldaPack::prepareStep(
        head + "#1=IFCCARTESIANPOINTLIST2D(((0.,0.),(2.,0.),(1.,1.),(0.,0.)),$);\n"
               "#2=IFCINDEXEDPOLYCURVE(#1,(IFCARCINDEX((1,3,2)),IFCLINEINDEX((2,1))),.F.);\n" + tail);
    EXPECT_EQ(s.schema, "IFC4");
    EXPECT_EQ(s.curvesRewritten, 1u);
    EXPECT_EQ(s.argumentsMapped, 1u);  // the point list's tags
    EXPECT_NE(s.text.find("#1=IFCCARTESIANPOINTLIST2D(((0.,0.),(2.,0.),(1.,1.),(0.,0.)));"), std::string::npos);
    const size_t polyline = s.text.find("#2=IFCPOLYLINE((#3,#4,");
    ASSERT_NE(polyline, std::string::npos) << s.text;
    size_t points = 0;
    for (size_t at = s.text.find("=IFCCARTESIANPOINT(("); at != std::string::npos;
         at = s.text.find("=IFCCARTESIANPOINT((", at + 1)) {
        ++points;
        const std::string coords = s.text.substr(at + 20, s.text.find(')', at) - at - 20);
        const double x = std::strtod(coords.c_str(), nullptr);
        const double y = std::strtod(coords.substr(coords.find(',') + 1).c_str(), nullptr);
        const double r = std::hypot(x - 1.0, y);
        EXPECT_TRUE(std::fabs(r - 1.0) < 1e-9 || std::fabs(y) < 1e-12) << coords;  // on the arc or the line
        EXPECT_GE(y, -1e-12) << coords;  // the half through (1,1), not the other
    }
    EXPECT_GE(points, 12u);  // 12 steps for half a circle, the start, the line back
    EXPECT_LT(s.text.find("#3=IFCCARTESIANPOINT"), s.text.find("ENDSEC;\nEND-ISO"));  // inside DATA

    // IFC4X3: the schema named IFC4, Closed moved back behind Normals.
    s = VeldaPack::prepareStep("ISO-10303-21;\nHEADER;\nFILE_SCHEMA(('IFC4X3_ADD2'));\nENDSEC;\nDATA;\n"
                               "#1=IFCCARTESIANPOINTLIST3D(((0.,0.,0.),(1.,0.,0.),(0.,1.,0.)),$);\n"
                               "#2=IFCTRIANGULATEDFACESET(#1,.T.,$,((1,2,3)),$);\n" + tail);
    EXPECT_EQ(s.schema, "IFC4X3_ADD2");
    EXPECT_NE(s.text.find("FILE_SCHEMA(('IFC4'))"), std::string::npos);
    EXPECT_NE(s.text.find("#2=IFCTRIANGULATEDFACESET(#1,$,.T.,((1,2,3)),$);"), std::string::npos) << s.text;
    EXPECT_EQ(s.argumentsMapped, 2u);

    // Strings and comments do not confuse the scan; untouched text stays as it is.
    const std::string plain = head + "/* #9 ; ( */#1=IFCLABEL('a;b''(#2');\n#2=IFCWALL('x',$);\n" + tail;
    EXPECT_EQ(VeldaPack::prepareStep(plain).text, plain);

    for (const auto& bad : std::vector<std::pair<std::string, const char*>>{
             {head + "#1=IFCBOOLEANRESULT(.DIFFERENCE.,#2,#3);\n#2=IFCX(#1);\n#3=IFCX($);\n" + tail, "cycle"},
             {head + "#1=IFCX(#1);\n" + tail, "cycle"},
             {head + "#99999999999=IFCX($);\n" + tail, "out of range"},
             {head + "#1=IFCX($);\n", "truncated"},
             {head + "#1=IFCX($);\nENDSEC;\n", "truncated"},
             {"\x7f" "ELF\x02\x01\x01", "not a STEP file"},
             {"ISO-10303-21;\nHEADER;\nFILE_SCHEMA(('CONFIG_CONTROL_DESIGN'));\nENDSEC;\nDATA;\n" + tail, "not an IFC"}}) {
        try {
            VeldaPack::prepareStep(bad.first);
            ADD_FAILURE() << "accepted: " << bad.first;
        } catch (const VeldaPack::PackError& e) {
            EXPECT_NE(std::string(e.what()).find(bad.second), std::string::npos) << e.what();
        }
    }
    // A chain deeper than the limit.
    std::string deep = head;
    for (int i = 1; i <= 50; ++i)
        deep += "#" + std::to_string(i) + "=IFCX(#" + std::to_string(i + 1) + ");\n";
    VeldaPack::StepLimits limits;
    limits.maxDepth = 20;
    EXPECT_THROW(VeldaPack::prepareStep(deep + tail, limits), VeldaPack::RefusedInput);
    EXPECT_NO_THROW(VeldaPack::prepareStep(deep + tail));
}

TEST(PackIfc, SmallHouseShapesColoursAndProperties)
{
    VeldaTest::TempDir dir;
    const VeldaTest::ProcessResult r = pack({kHouse, dir.file("house"), "--report"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("props for 6 source objects"), std::string::npos) << r.out;
    const Project p = load(dir.file("house"));
    ASSERT_TRUE(p.hasProps);
    EXPECT_EQ(p.props.metresPerUnit, 1.0);
    EXPECT_EQ(p.props.sourceUnit, "mm");
    // Millimetres became metres; the half circle reaches y = 6.5.
    EXPECT_NEAR(p.props.min[2], -0.2, 1e-4);
    EXPECT_NEAR(p.props.max[0], 9.5, 1e-4);
    EXPECT_NEAR(p.props.max[1], 6.5, 1e-3);
    EXPECT_NEAR(p.props.max[2], 3.0, 1e-4);
    EXPECT_TRUE(p.of("IfcSpace").empty());
    EXPECT_TRUE(p.of("IfcOpeningElement").empty());
    for (const Shape& s : p.shapes)
        EXPECT_EQ(s.source.size(), 22u) << s.className;

    // The wall: red, its face 4 x 3 less the 1 x 1.2 opening, nothing inside the opening.
    ASSERT_EQ(p.of("IfcWall").size(), 1u);
    const Shape& wall = *p.of("IfcWall")[0];
    expectColour(wall, 0.8f, 0.1f, 0.1f, 1.0f);
    EXPECT_NEAR(areaFacing(wall, 1, -1), 4 * 3 - 1 * 1.2, 1e-3);
    EXPECT_NEAR(areaFacing(wall, 1, 1), 4 * 3 - 1 * 1.2, 1e-3);
    for (size_t t = 0; t + 2 < wall.triangles.size(); t += 3) {
        Vec c{};
        for (int k = 0; k < 3; ++k)
            for (int a = 0; a < 3; ++a)
                c[a] += wall.triangles[t + k][a] / 3;
        EXPECT_FALSE(c[0] > 1.501 && c[0] < 2.499 && c[2] > 0.901 && c[2] < 2.099)
            << "a triangle in the opening at " << c[0] << " " << c[1] << " " << c[2];
    }
    // The window fills it, see-through blue.
    ASSERT_EQ(p.of("IfcWindow").size(), 1u);
    const Shape& window = *p.of("IfcWindow")[0];
    expectColour(window, 0.2f, 0.4f, 0.9f, 0.4f);
    EXPECT_EQ(window.triangles.size(), 36u);
    EXPECT_NEAR(window.min[0], 1.5, 1e-4);
    EXPECT_NEAR(window.max[2], 2.1, 1e-4);

    // The slab: its outline's half circle divided (area a little under the
    // exact 20 + pi * 2.5^2 / 2), green through its material.
    ASSERT_EQ(p.of("IfcSlab").size(), 1u);
    const Shape& slab = *p.of("IfcSlab")[0];
    expectColour(slab, 0.2f, 0.7f, 0.2f, 1.0f);
    const double top = areaFacing(slab, 2, 1);
    EXPECT_GT(top, 29.5);
    EXPECT_LT(top, 20 + M_PI * 2.5 * 2.5 / 2);

    // The cube: half yellow, half blue, by its colour map.
    const std::vector<const Shape*> cube = p.of("IfcBuildingElementProxy");
    ASSERT_EQ(cube.size(), 2u);
    const bool yellowFirst = cube[0]->colour[0] > 0.5f;
    expectColour(*cube[yellowFirst ? 0 : 1], 1.0f, 0.9f, 0.0f, 1.0f);
    expectColour(*cube[yellowFirst ? 1 : 0], 0.0f, 0.3f, 1.0f, 1.0f);
    for (const Shape* half : cube) {
        EXPECT_EQ(half->triangles.size(), 18u);
        EXPECT_EQ(half->source, cube[0]->source);  // one source object
    }

    // Two cabinets from one mapped box, each where its product stands.
    const std::vector<const Shape*> cabinets = p.of("IfcFurnishingElement");
    ASSERT_EQ(cabinets.size(), 2u);
    std::vector<double> at;
    for (const Shape* c : cabinets) {
        EXPECT_EQ(c->triangles.size(), 36u);
        expectColour(*c, 0.5f, 0.3f, 0.1f, 1.0f);
        EXPECT_NEAR(c->max[0] - c->min[0], 0.5, 1e-4);
        EXPECT_NEAR(c->max[2], 0.8, 1e-4);
        at.push_back(c->min[0]);
    }
    std::sort(at.begin(), at.end());
    EXPECT_NEAR(at[0], 8.0, 1e-4);
    EXPECT_NEAR(at[1], 9.0, 1e-4);
    EXPECT_EQ(p.shapes.size(), 7u);

    // The wall's entry, whole.
    const Velda::PropsEntry* e = nullptr;
    for (const auto& o : p.props.objectEntry)
        if (p.props.entries[o.second].className == "IfcWall")
            e = &p.props.entries[o.second];
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->name, "Wall 1");
    EXPECT_EQ(e->source, "1Wall_0000000000000000");
    ASSERT_EQ(e->spatial.size(), 3u);
    EXPECT_EQ(e->spatial[0].className, "IfcSite");
    EXPECT_EQ(e->spatial[1].name, "Building");
    EXPECT_EQ(e->spatial[2].className, "IfcBuildingStorey");
    EXPECT_EQ(e->spatial[2].name, "Ground floor");
    EXPECT_EQ(e->spatial[2].source, "1Storey_00000000000000");
    ASSERT_EQ(e->sets.size(), 2u);
    EXPECT_FALSE(e->sets[0].quantities);
    EXPECT_EQ(e->sets[0].values.size(), 5u);
    const struct {
        const char *set, *name, *value, *unit, *type;
    } expected[] = {
        {"Pset_WallCommon", "IsExternal", "true", "", "IfcBoolean"},
        {"Pset_WallCommon", "ThermalTransmittance", "0.25", "", "IfcThermalTransmittanceMeasure"},
        {"Pset_WallCommon", "Reference", "W-01", "", "IfcIdentifier"},
        {"Pset_WallCommon", "Width", "200", "mm", "IfcPositiveLengthMeasure"},
        {"Pset_WallCommon", "FireRating", "EI 90", "", "IfcLabel"},
        {"Qto_WallBaseQuantities", "Length", "4000", "mm", "IfcLengthMeasure"},
        {"Qto_WallBaseQuantities", "NetSideArea", "10.8", "m²", "IfcAreaMeasure"},
    };
    for (const auto& x : expected) {
        const Velda::PropValue* v = valueOf(*e, x.set, x.name);
        ASSERT_NE(v, nullptr) << x.name;
        EXPECT_EQ(v->value, x.value) << x.name;
        EXPECT_EQ(v->unit, x.unit) << x.name;
        EXPECT_EQ(v->type, x.type) << x.name;
    }
    EXPECT_TRUE(e->sets[1].quantities);

    // Asked for, the room is drawn (see-through) with its own entry.
    ASSERT_EQ(pack({kHouse, dir.file("rooms"), "--spaces"}).exitCode, 0);
    const Project rooms = load(dir.file("rooms"));
    ASSERT_EQ(rooms.of("IfcSpace").size(), 1u);
    EXPECT_LT(rooms.of("IfcSpace")[0]->alpha, 1.0f);
    // Told that the source is y-up, the house is turned onto its side.
    ASSERT_EQ(pack({kHouse, dir.file("side"), "--up", "y"}).exitCode, 0);
    const Project side = load(dir.file("side"));
    EXPECT_NEAR(side.props.max[2], 6.5, 1e-3);
}

TEST(PackIfc, Ifc4x3IsMapped)
{
    VeldaTest::TempDir dir;
    std::string text = textOf(kHouse);
    text.replace(text.find("FILE_SCHEMA(('IFC4'))"), 21, "FILE_SCHEMA(('IFC4X3_ADD2'))");
    // The cube in IFC4X3's order: Closed before Normals, the points with tags.
    const size_t set = text.find("#405=IFCTRIANGULATEDFACESET(#404,$,.T.,");
    ASSERT_NE(set, std::string::npos);
    text.replace(set, 39, "#405=IFCTRIANGULATEDFACESET(#404,.T.,$,");
    const size_t points = text.find(")));\n#405");
    text.replace(points, 4, ")),$);");
    write(dir.file("new.ifc"), text);
    const VeldaTest::ProcessResult r = pack({dir.file("new.ifc"), dir.file("out")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const Project p = load(dir.file("out"));
    EXPECT_EQ(p.of("IfcBuildingElementProxy").size(), 2u);
    EXPECT_EQ(p.shapes.size(), 7u);
}

TEST(PackIfc, FzkHouseThroughTheIfcReader)
{
    // The sample the build packs: storeys in props, and about the triangles
    // the importer draws (it repeats a mapped mesh where it is used).
    const Project p = load(std::string(SAMPLES_PATH) + "/fzk-haus");
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile("/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc",
                                            aiProcess_Triangulate | aiProcess_SortByPType);
    ASSERT_NE(scene, nullptr);
    uint64_t drawn = 0;
    const std::function<void(const aiNode*)> visit = [&](const aiNode* node) {
        for (unsigned k = 0; k < node->mNumMeshes; ++k)
            if (scene->mMeshes[node->mMeshes[k]]->mPrimitiveTypes & aiPrimitiveType_TRIANGLE)
                drawn += scene->mMeshes[node->mMeshes[k]]->mNumFaces;
        for (unsigned c = 0; c < node->mNumChildren; ++c)
            visit(node->mChildren[c]);
    };
    visit(scene->mRootNode);
    EXPECT_NEAR(static_cast<double>(p.triangles), static_cast<double>(drawn), 0.1 * static_cast<double>(drawn));

    std::map<std::string, int> storeys;
    for (const Shape& s : p.shapes) {
        const Velda::PropsEntry* e = nullptr;
        for (const auto& o : p.props.objectEntry)
            if (p.props.entries[o.second].source == s.source)
                e = &p.props.entries[o.second];
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->className.compare(0, 3, "Ifc"), 0);
        if (!e->spatial.empty() && e->spatial.back().className == "IfcBuildingStorey")
            ++storeys[e->spatial.back().name];
    }
    EXPECT_EQ(storeys.size(), 2u);
    EXPECT_GT(storeys["0. Erdgeschoss"], 20);
    EXPECT_GT(storeys["1. Dachgeschoss"], 20);
    // The house stands along z, the roof up.
    EXPECT_GT(p.props.max[2] - p.props.min[2], 5.0f);
    EXPECT_LT(p.props.max[2] - p.props.min[2], 12.0f);
}

TEST(PackIfc, BadInputGetsOneLineAndExitOne)
{
    VeldaTest::TempDir dir;
    const std::string house = textOf(kHouse);
    const std::string head = "ISO-10303-21;\nHEADER;\nFILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n";
    std::string binary(4096, '\0');
    for (size_t i = 0; i < binary.size(); ++i)
        binary[i] = static_cast<char>((i * 7919u) >> 3);
    const std::pair<const char*, std::string> inputs[] = {
        {"half.ifc", house.substr(0, house.size() / 2)},
        {"header.ifc", house.substr(0, 120)},
        {"cycle.ifc", house.substr(0, house.find("ENDSEC;\nEND")) +
                          "#900=IFCBOOLEANRESULT(.DIFFERENCE.,#901,#105);\n"
                          "#901=IFCBOOLEANRESULT(.DIFFERENCE.,#900,#105);\nENDSEC;\nEND-ISO-10303-21;\n"},
        {"unknown.ifc", head + "#1=IFCNOSUCHTHING(1,2,#2);\n#2=IFCANOTHERUNKNOWN('x');\nENDSEC;\nEND-ISO-10303-21;\n"},
        {"absurd.ifc", head + "#184467440737095516160=IFCWALL($);\nENDSEC;\nEND-ISO-10303-21;\n"},
        {"empty.ifc", ""},
        {"binary.ifc", binary},
    };
    for (const auto& input : inputs) {
        SCOPED_TRACE(input.first);
        write(dir.file(input.first), input.second);
        const VeldaTest::ProcessResult r = pack({dir.file(input.first), dir.file("out"), "--time-limit", "60"});
        EXPECT_TRUE(r.exited);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.compare(0, 12, "velda-pack: "), 0) << r.err;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;  // one line
        EXPECT_EQ(r.err.find("AddressSanitizer"), std::string::npos);
        EXPECT_FALSE(fs::exists(dir.file("out")));
    }
    // Too large for the limit: refused before it is read.
    const VeldaTest::ProcessResult big = pack({kHouse, dir.file("out"), "--max-ifc-mb", "1"});
    EXPECT_EQ(big.exitCode, 0);  // 12 kB
    EXPECT_TRUE(fs::remove_all(dir.file("out")));
    std::string large = house.substr(0, house.find("ENDSEC;\nEND"));
    large += "/*" + std::string(1100000, ' ') + "*/\nENDSEC;\nEND-ISO-10303-21;\n";
    write(dir.file("large.ifc"), large);
    const VeldaTest::ProcessResult refused = pack({dir.file("large.ifc"), dir.file("out"), "--max-ifc-mb", "1"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("--max-ifc-mb"), std::string::npos) << refused.err;
}
