// velda-pack's output read back by the engine's own readers (IndexInfo and
// bundle unpacking, not the packer's code), against what the model importer
// reports for the same file.
#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"
#include "jobs/FileHelpers.h"

#include "ModelReader.h"
#include "ProjectWriter.h"
#include "Process.h"
#include "TempDir.h"
#include "TestImages.h"
#include "TextureStore.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>
#include <FreeImage.h>

#include <filesystem>
#include <map>
#include <set>

namespace fs = std::filesystem;
using Velda::VeldaDocNode;

namespace {

const std::string kModels = "/usr/share/assimp/models/";

struct Reported {
    size_t objects = 0, meshes = 0, materials = 0;
    uint64_t triangles = 0;
};

// Counts as the importer reports them: every node's use of a triangle mesh
// is an object; distinct meshes, their materials and their triangles.
Reported importerCounts(const std::string& path)
{
    Assimp::Importer importer;
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    const aiScene* scene = importer.ReadFile(path, VeldaPack::importFlags());
    EXPECT_NE(scene, nullptr) << importer.GetErrorString();
    Reported r;
    if (!scene)
        return r;
    std::set<unsigned> meshes, materials;
    std::vector<const aiNode*> stack = {scene->mRootNode};
    while (!stack.empty()) {
        const aiNode* node = stack.back();
        stack.pop_back();
        for (unsigned c = 0; c < node->mNumChildren; ++c)
            stack.push_back(node->mChildren[c]);
        for (unsigned k = 0; k < node->mNumMeshes; ++k) {
            const aiMesh* mesh = scene->mMeshes[node->mMeshes[k]];
            if (!(mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || mesh->mNumFaces == 0)
                continue;
            ++r.objects;
            if (meshes.insert(node->mMeshes[k]).second)
                r.triangles += mesh->mNumFaces;
            materials.insert(mesh->mMaterialIndex);
        }
    }
    r.meshes = meshes.size();
    r.materials = materials.size();
    return r;
}

std::vector<unsigned char> bytesOf(const std::string& path)
{
    const std::pair<char*, size_t> f = Velda::readFile(path);
    std::vector<unsigned char> bytes(f.first, f.first + f.second);
    delete[] f.first;
    return bytes;
}

// A project folder's index, through the viewer's reader.
VeldaClient::IndexInfo indexOf(const std::string& folder)
{
    const std::vector<unsigned char> file = bytesOf(folder + "/index");
    return VeldaClient::IndexInfo(file.data(), static_cast<unsigned>(file.size()));
}

struct Bundles {
    std::map<int32_t, std::set<std::wstring>> meshSets;  // mesh id: its index sets
    std::map<int32_t, std::vector<std::wstring>> textures;  // material id: texture names
    std::map<int32_t, std::wstring> materialNames;
    uint64_t triangles = 0;
    size_t blended = 0;
};

Bundles readBundles(const std::string& folder, const VeldaClient::IndexInfo& index)
{
    Bundles b;
    for (const std::string& n : index.meshFiles()) {
        const std::vector<unsigned char> file = bytesOf(folder + "/" + n + ".me");
        Velda::BundleHeader header;
        EXPECT_TRUE(Velda::readBundleHeader(file.data(), file.size(), header));
        const int handed = Velda::unpackBundle(file.data(), file.size(), [&](int, std::unique_ptr<VeldaDocNode> doc, uint32_t) {
            const int32_t id = doc->child(L"id")->firstInt32();
            for (const VeldaDocNode* set : doc->child(L"indices")->children) {
                b.meshSets[id].insert(set->name);
                b.triangles += set->count / 3;
                EXPECT_EQ(set->type, doc->child(L"vnum")->firstInt32() <= 65535 ? Velda::kTagUInt16Array
                                                                               : Velda::kTagInt32Array);
            }
            for (const VeldaDocNode* group : doc->child(L"attribs")->children)
                EXPECT_EQ(group->name.find(L'/'), std::wstring::npos);  // one attribute a group
        });
        EXPECT_EQ(handed, header.documents);
    }
    for (const std::string& n : index.materialFiles()) {
        const std::vector<unsigned char> file = bytesOf(folder + "/" + n + ".mt");
        Velda::unpackBundle(file.data(), file.size(), [&](int, std::unique_ptr<VeldaDocNode> doc, uint32_t) {
            const int32_t id = doc->child(L"id")->firstInt32();
            b.materialNames[id] = doc->child(L"name")->stringValue();
            b.textures[id];
            // The lit shader discards what is less opaque than "atestval" (1
            // unless set): a blended surface must lower it to be drawn at all.
            if (doc->child(L"blend")) {
                ++b.blended;
                const VeldaDocNode *test = doc->child(L"atestval"), *alpha = doc->child(L"a");
                EXPECT_LE(test ? test->firstFloat() : 1.0f, alpha ? alpha->firstFloat() : 1.0f) << b.materialNames[id];
            }
            if (const VeldaDocNode* tex = doc->child(L"tex"))
                for (uint32_t i = 0; i < tex->count; ++i)
                    if (!tex->stringValue(i).empty())
                        b.textures[id].push_back(tex->stringValue(i));
        });
    }
    return b;
}

struct Unloader {
    void operator()(FIBITMAP* b) const { FreeImage_Unload(b); }
};
using Bitmap = std::unique_ptr<FIBITMAP, Unloader>;

// A decoded image file (null when it cannot be read).
Bitmap load(const std::string& path)
{
    FreeImage_Initialise(FALSE);
    return Bitmap(FreeImage_Load(FreeImage_GetFileType(path.c_str(), 0), path.c_str(), 0));
}

// The image decodes at 24 or 32 bits, with rows exactly as wide as the pixels.
void expectViewerReadable(const std::string& path)
{
    const Bitmap image = load(path);
    ASSERT_NE(image, nullptr) << path;
    const unsigned bpp = FreeImage_GetBPP(image.get());
    EXPECT_TRUE(bpp == 24 || bpp == 32) << path << " has " << bpp << " bits";
    EXPECT_EQ(FreeImage_GetPitch(image.get()), FreeImage_GetWidth(image.get()) * bpp / 8) << path;
}

void expectRoundTrip(const std::string& model, const std::string& folder)
{
    SCOPED_TRACE(model);
    const VeldaClient::IndexInfo index = indexOf(folder);
    const Bundles bundles = readBundles(folder, index);
    const Reported expected = importerCounts(model);

    EXPECT_EQ(index.objectCount(), expected.objects);
    EXPECT_EQ(index.objects().size(), expected.objects);
    for (const auto& entry : index.objects()) {
        const VeldaClient::IndexObject& o = entry.second;
        ASSERT_EQ(o.surfaces.size(), 1u);  // one mesh and one material an object
        const VeldaClient::IndexSurface& s = o.surfaces[0];
        ASSERT_TRUE(bundles.meshSets.count(s.meshId)) << "mesh " << s.meshId;
        EXPECT_TRUE(bundles.meshSets.at(s.meshId).count(Velda::utf8ToWide(s.name)));
        EXPECT_TRUE(bundles.materialNames.count(s.materialId)) << "material " << s.materialId;
        EXPECT_TRUE(o.castShadow);
        EXPECT_LE(o.bounds.getMin().z, o.bounds.getMax().z);
    }
    EXPECT_EQ(bundles.meshSets.size(), expected.meshes);
    EXPECT_EQ(bundles.materialNames.size(), expected.materials);
    EXPECT_EQ(bundles.triangles, expected.triangles);
    for (const auto& m : bundles.textures)
        for (const std::wstring& name : m.second) {
            const std::string file = folder + "/" + Velda::wideToUtf8(name);
            EXPECT_EQ(name.compare(0, 5, L"texs/"), 0);
            ASSERT_TRUE(fs::exists(file)) << file;
            expectViewerReadable(file);
        }
}

VeldaTest::ProcessResult pack(const std::vector<std::string>& args)
{
    std::vector<std::string> all = {VELDA_PACK_PATH};
    all.insert(all.end(), args.begin(), args.end());
    return VeldaTest::runProcess(all);
}

} // namespace

TEST(Pack, ModelsRoundTripThroughTheEnginesReaders)
{
    VeldaTest::TempDir dir;
    for (const char* model : {"glTF/CesiumMilkTruck/CesiumMilkTruck.gltf", "Collada/duck.dae", "OBJ/box.obj",
                              "3DS/fels.3ds", "PLY/cube.ply", "STL/Spider_ascii.stl", "FBX/box.fbx",
                              "glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb"}) {
        const std::string out = dir.file(fs::path(model).filename().string());
        const VeldaTest::ProcessResult r = pack({kModels + model, out, "--report"});
        ASSERT_EQ(r.exitCode, 0) << model << ": " << r.err;
        EXPECT_NE(r.out.find("objects "), std::string::npos);
        expectRoundTrip(kModels + model, out);
    }
    // The truck's PNG meets the viewer's rules and is copied as it is; the
    // duck's texture is converted to a JPG.
    EXPECT_TRUE(fs::exists(dir.file("CesiumMilkTruck.gltf/texs/CesiumMilkTruck.png")));
    EXPECT_TRUE(fs::exists(dir.file("duck.dae/texs/duckCM.jpg")));
}

TEST(Pack, TexturesThatMeetTheRulesAreCopiedOthersConverted)
{
    using VeldaTest::ImageKind;
    using VeldaTest::encodeImage;
    VeldaTest::TempDir dir;
    fs::create_directories(dir.file("texs"));
    const auto source = [&](const std::string& file, const std::vector<unsigned char>& bytes) {
        EXPECT_TRUE(Velda::writeFile(dir.file(file), bytes.data(), bytes.size()));
        VeldaPack::PackTexture t;
        t.name = file;
        t.path = dir.file(file);
        return t;
    };
    std::vector<VeldaPack::PackTexture> textures = {
        source("a.png", encodeImage(ImageKind::Png, 64, 32, 24)),   // copied
        source("b.png", encodeImage(ImageKind::Png, 16, 16, 32)),   // copied, with alpha
        source("c.jpg", encodeImage(ImageKind::Jpg, 64, 32, 24)),   // copied
        source("d.png", encodeImage(ImageKind::Png, 30, 20, 24)),   // rows of 90 bytes: converted
        source("e.jpg", encodeImage(ImageKind::Jpg, 64, 32, 8)),    // greyscale: converted
        source("a.tga", encodeImage(ImageKind::Tga, 8, 8, 24)),     // another format, same stem
    };
    VeldaPack::PackTexture embedded;  // encoded bytes in the model itself
    embedded.name = "embedded 1";
    embedded.bytes = encodeImage(ImageKind::Jpg, 32, 8, 24);
    textures.push_back(embedded);

    VeldaPack::TextureStore store(dir.file("texs"));
    std::vector<std::pair<int, const VeldaPack::PackTexture*>> list;
    for (size_t i = 0; i < textures.size(); ++i)
        list.emplace_back(static_cast<int>(i), &textures[i]);
    list.emplace_back(0, &textures[0]);  // asked twice, written once
    store.storeAll(list);
    EXPECT_EQ(store.written(), textures.size());
    EXPECT_EQ(store.failed(), 0u);
    EXPECT_EQ(store.copied(), 4u);

    const std::string names[] = {"texs/a.png", "texs/b.png", "texs/c.jpg", "texs/d.jpg", "texs/e.jpg", "texs/a_2.jpg",
                                 "texs/embedded 1.jpg"};
    for (size_t i = 0; i < textures.size(); ++i)
        EXPECT_EQ(store.store(static_cast<int>(i), textures[i]).name, names[i]);
    EXPECT_TRUE(store.store(1, textures[1]).alpha);
    EXPECT_FALSE(store.store(0, textures[0]).alpha);
    EXPECT_EQ(bytesOf(dir.file("a.png")), bytesOf(dir.file("texs/a.png")));  // byte for byte
    EXPECT_EQ(bytesOf(dir.file("c.jpg")), bytesOf(dir.file("texs/c.jpg")));
    EXPECT_EQ(embedded.bytes, bytesOf(dir.file("texs/embedded 1.jpg")));
    for (const char* converted : {"texs/d.jpg", "texs/e.jpg"})
        expectViewerReadable(dir.file(converted));
}

TEST(Pack, TheHouseStandsAlongZ)
{
    VeldaTest::TempDir dir;
    const std::string model = kModels + "IFC/AC14-FZK-Haus.ifc";
    ASSERT_EQ(pack({model, dir.file("house")}).exitCode, 0);
    expectRoundTrip(model, dir.file("house"));
    const VeldaClient::IndexInfo index = indexOf(dir.file("house"));
    EXPECT_GT(index.objectCount(), 100u);
    const Velda::Vector3 size = index.bounds().getMax() - index.bounds().getMin();
    EXPECT_GT(size.z, 5.0f);   // two storeys and a roof
    EXPECT_LT(size.z, 12.0f);
    EXPECT_GT(size.x, size.z);
    EXPECT_GT(size.y, size.z);
    EXPECT_GT(index.bounds().getMax().z, 5.0f);  // the roof is up, not down

    // The same house told that it is z-up lies on its side.
    ASSERT_EQ(pack({model, dir.file("side"), "--up", "z"}).exitCode, 0);
    const VeldaClient::IndexInfo side = indexOf(dir.file("side"));
    EXPECT_GT((side.bounds().getMax() - side.bounds().getMin()).z, 12.0f);
}

TEST(Pack, BadInputLeavesNothingBehind)
{
    VeldaTest::TempDir dir;
    const std::string texts[] = {kModels + "invalid/empty.obj", kModels + "invalid/readme.txt",
                                 kModels + "invalid/OutOfMemory.off", dir.file("missing.gltf")};
    for (const std::string& input : texts) {
        SCOPED_TRACE(input);
        const VeldaTest::ProcessResult r = pack({input, dir.file("out")});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;  // one line
        EXPECT_EQ(r.err.compare(0, 12, "velda-pack: "), 0);
        EXPECT_FALSE(fs::exists(dir.file("out")));
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 0);

    ASSERT_EQ(pack({kModels + "OBJ/box.obj", dir.file("box")}).exitCode, 0);
    const VeldaTest::ProcessResult again = pack({kModels + "OBJ/box.obj", dir.file("box")});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_NE(again.err.find("exists already"), std::string::npos);
    EXPECT_EQ(pack({kModels + "OBJ/box.obj", dir.file("x"), "--up", "w"}).exitCode, 1);
    EXPECT_EQ(pack({kModels + "OBJ/box.obj"}).exitCode, 2);
}

TEST(Pack, SynthesisedCity)
{
    VeldaTest::TempDir dir;
    const std::string out = dir.file("city");
    const VeldaTest::ProcessResult r = pack({"synth", out, "--buildings", "300", "--bundle-bytes", "65536", "--report"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const VeldaClient::IndexInfo index = indexOf(out);
    EXPECT_EQ(index.objectCount(), 602u);
    EXPECT_GT(index.meshFiles().size(), 3u);  // the cap splits the meshes over bundles
    const Bundles bundles = readBundles(out, index);
    EXPECT_EQ(bundles.meshSets.size(), 602u);
    bool water = false;
    for (const auto& m : bundles.materialNames)
        water = water || Velda::wideToUtf8(m.second).find("水") != std::string::npos;
    EXPECT_TRUE(water);
    EXPECT_GE(bundles.blended, 2u);  // glass and water
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(out + "/texs")) {
        names.insert(entry.path().filename().string());
        expectViewerReadable(entry.path().string());
    }
    EXPECT_TRUE(names.count("facade brick A.jpg"));
    EXPECT_TRUE(names.count("玻璃 窗.png"));
    EXPECT_TRUE(names.count("外墙 混凝土.jpg"));
    // Largest first: ground and river, then the buildings by size, so that
    // the big shapes are on screen in the first frames.
    float previous = 3.4e38f;
    for (const auto& entry : index.objects()) {
        Velda::AABB3 box = entry.second.bounds;
        const float diagonal = (box.getMax() - box.getMin()).length();
        EXPECT_LE(diagonal, previous + 1e-3f) << entry.second.name;
        previous = diagonal;
    }
    EXPECT_EQ(index.objects().begin()->second.name, "ground");
}

TEST(Pack, ScenesBeyondOneObjectGroup)
{
    // A node counts its children in 16 bits; the index then holds several
    // groups of objects, which the reader joins.
    VeldaPack::PackScene scene;
    scene.materials.resize(1);
    scene.meshCount = 1;
    scene.mesh = [](uint32_t) {
        VeldaPack::PackMesh m;
        m.positions = {0, 0, 0, 1, 0, 0, 0, 1, 0};
        m.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1};
        m.indices = {0, 1, 2};
        return m;
    };
    for (int i = 0; i < 70000; ++i) {
        VeldaPack::PackObject o;
        o.name = "o";
        const float x = static_cast<float>(i), m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, 0, 0, 1};
        const float box[6] = {x, 0, 0, x + 1, 1, 0};
        std::copy(m, m + 16, o.matrix);
        std::copy(box, box + 3, o.min);
        std::copy(box + 3, box + 6, o.max);
        scene.objects.push_back(o);
    }
    VeldaTest::TempDir dir;
    VeldaPack::ProjectWriter::write(scene, dir.file("many"), VeldaPack::PackOptions());
    const VeldaClient::IndexInfo index = indexOf(dir.file("many"));
    EXPECT_EQ(index.objectCount(), 70000u);
    EXPECT_EQ(index.objects().size(), 70000u);
    EXPECT_EQ(index.bounds().getMax().x, 70000.0f);
}

TEST(SkyResources, GeneratedBesideThePrograms)
{
    const std::string sky = fs::path(VELDA_PACK_PATH).parent_path().string() + "/SkyResources";
    std::set<std::string> images;
    for (const auto& entry : fs::directory_iterator(sky + "/img"))
        images.insert(entry.path().filename().string());
    EXPECT_EQ(images, (std::set<std::string>{"光圈.png", "光圈圆点-内环(划过).png", "光圈圆点-内环.png",
                                             "光圈圆点-外环(划过).png", "光圈圆点-外环.png", "color.jpg", "water.jpg",
                                             "rt.jpg", "lf.jpg", "bk.jpg", "ft.jpg", "up.jpg", "dn.jpg"}));
    // The pivot marks at their sizes, with alpha.
    const std::pair<const char*, unsigned> marks[] = {{"光圈.png", 134},         {"光圈圆点-内环.png", 18},
                                                      {"光圈圆点-内环(划过).png", 18}, {"光圈圆点-外环.png", 20},
                                                      {"光圈圆点-外环(划过).png", 20}};
    for (const auto& mark : marks) {
        const Bitmap b = load(sky + "/img/" + mark.first);
        ASSERT_NE(b, nullptr) << mark.first;
        EXPECT_EQ(FreeImage_GetWidth(b.get()), mark.second) << mark.first;
        EXPECT_EQ(FreeImage_GetHeight(b.get()), mark.second) << mark.first;
        EXPECT_EQ(FreeImage_GetBPP(b.get()), 32u) << mark.first;
    }
    EXPECT_EQ(FreeImage_GetWidth(load(sky + "/img/color.jpg").get()), 256u);
    for (const char* image : {"color.jpg", "water.jpg", "rt.jpg", "up.jpg"})
        expectViewerReadable(sky + "/img/" + image);

    // The index parses, and its box makes the viewer keep the dome at radius 12.
    const VeldaClient::IndexInfo index = indexOf(sky);
    EXPECT_EQ(index.objectCount(), 1u);
    const float diagonal = (index.bounds().getMax() - index.bounds().getMin()).length();
    const float radius = index.objects().begin()->second.bounds.getMax().x * 10.0f / diagonal;
    EXPECT_NEAR(radius, 12.0f, 0.5f);
    const Bundles bundles = readBundles(sky, index);
    ASSERT_EQ(bundles.textures.at(0).size(), 1u);
    expectViewerReadable(sky + "/" + Velda::wideToUtf8(bundles.textures.at(0)[0]));
}

TEST(SkyResources, CubeFacesMeetWithoutSeams)
{
    const std::string img = fs::path(VELDA_PACK_PATH).parent_path().string() + "/SkyResources/img/";
    const Bitmap right = load(img + "rt.jpg"), up = load(img + "up.jpg");  // +x, +z
    ASSERT_TRUE(right && up);
    const unsigned n = FreeImage_GetWidth(up.get());
    // +x at s = -1 and +z at s = +1 are the same directions, row by row.
    double difference = 0;
    for (unsigned row = 0; row < n; ++row) {
        RGBQUAD a, b;
        FreeImage_GetPixelColor(right.get(), 0, row, &a);
        FreeImage_GetPixelColor(up.get(), n - 1, row, &b);
        difference += std::abs(a.rgbRed - b.rgbRed) + std::abs(a.rgbGreen - b.rgbGreen) + std::abs(a.rgbBlue - b.rgbBlue);
    }
    EXPECT_LT(difference / (3.0 * n), 6.0);  // JPEG noise only
}

TEST(Samples, PackedByTheBuildAndReadable)
{
    for (const char* name : {"fzk-haus", "2cylinder-engine", "milk-truck"})
        EXPECT_GT(indexOf(std::string(SAMPLES_PATH) + "/" + name).objectCount(), 4u) << name;
}
