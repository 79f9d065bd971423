// velda-pack's output read back by the engine's own readers (IndexInfo and
// bundle unpacking, not the packer's code), against what the model importer
// reports for the same file.
#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "formats/ProjectProps.h"
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
#include <functional>
#include <map>
#include <set>
#include <sstream>

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
    const std::function<void(const aiNode*)> visit = [&](const aiNode* node) {
        for (unsigned k = 0; k < node->mNumMeshes; ++k) {
            const aiMesh* mesh = scene->mMeshes[node->mMeshes[k]];
            if (!(mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || mesh->mNumFaces == 0)
                continue;
            ++r.objects;
            if (meshes.insert(node->mMeshes[k]).second)
                r.triangles += mesh->mNumFaces;
            materials.insert(mesh->mMaterialIndex);
        }
        for (unsigned c = 0; c < node->mNumChildren; ++c)
            visit(node->mChildren[c]);
    };
    visit(scene->mRootNode);
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

// Every document of the bundles `names` with `extension`, as the engine unpacks them.
void forEachDocument(const std::string& folder, const std::vector<std::string>& names, const char* extension,
                     const std::function<void(const VeldaDocNode&)>& visit)
{
    for (const std::string& n : names) {
        const std::vector<unsigned char> file = bytesOf(folder + "/" + n + extension);
        Velda::BundleHeader header;
        EXPECT_TRUE(Velda::readBundleHeader(file.data(), file.size(), header));
        EXPECT_EQ(Velda::unpackBundle(file.data(), file.size(),
                                      [&](int, std::unique_ptr<VeldaDocNode> doc, uint32_t) { visit(*doc); }),
                  header.documents);
    }
}

Bundles readBundles(const std::string& folder, const VeldaClient::IndexInfo& index)
{
    Bundles b;
    forEachDocument(folder, index.meshFiles(), ".me", [&](const VeldaDocNode& doc) {
        const int32_t id = doc.child(L"id")->firstInt32();
        for (const VeldaDocNode* set : doc.child(L"indices")->children) {
            b.meshSets[id].insert(set->name);
            b.triangles += set->count / 3;
            EXPECT_EQ(set->type, doc.child(L"vnum")->firstInt32() <= 65535 ? Velda::kTagUInt16Array
                                                                           : Velda::kTagInt32Array);
        }
        for (const VeldaDocNode* group : doc.child(L"attribs")->children)
            EXPECT_EQ(group->name.find(L'/'), std::wstring::npos);  // one attribute a group
    });
    forEachDocument(folder, index.materialFiles(), ".mt", [&](const VeldaDocNode& doc) {
        const int32_t id = doc.child(L"id")->firstInt32();
        b.materialNames[id] = doc.child(L"name")->stringValue();
        b.textures[id];
        if (const VeldaDocNode* tex = doc.child(L"tex"))
            for (uint32_t i = 0; i < tex->count; ++i)
                if (!tex->stringValue(i).empty())
                    b.textures[id].push_back(tex->stringValue(i));
        // The lit shader discards what is less opaque than "atestval" (1
        // unless set): a blended surface must lower it to be drawn at all.
        if (doc.child(L"blend")) {
            ++b.blended;
            const VeldaDocNode *test = doc.child(L"atestval"), *alpha = doc.child(L"a");
            EXPECT_LE(test ? test->firstFloat() : 1.0f, alpha ? alpha->firstFloat() : 1.0f) << b.materialNames[id];
        }
    });
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

    // Every object has its node in props: its path from the root and its name.
    const std::vector<unsigned char> file = bytesOf(dir.file("CesiumMilkTruck.gltf") + "/props");
    const Velda::ProjectProps props = Velda::parseProjectProps(file.data(), file.size());
    const VeldaClient::IndexInfo truck = indexOf(dir.file("CesiumMilkTruck.gltf"));
    EXPECT_TRUE(truck.hasProps());
    EXPECT_EQ(props.metresPerUnit, 1.0);  // glTF is in metres
    EXPECT_EQ(props.objectEntry.size(), truck.objectCount());
    for (const auto& entry : truck.objects()) {
        const Velda::PropsEntry* e = props.entryOf(entry.first);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->className, "node");
        EXPECT_EQ(e->source.substr(e->source.rfind('/') + 1), e->name);
        EXPECT_EQ(e->name, entry.second.name.substr(0, e->name.size()));
    }
}

TEST(Pack, TexturesThatMeetTheRulesAreCopiedOthersConverted)
{
    using VeldaTest::ImageKind;
    using VeldaTest::encodeImage;
    VeldaTest::TempDir dir;
    fs::create_directories(dir.file("texs"));
    const struct {
        const char* file;  // empty: encoded bytes in the model itself
        std::vector<unsigned char> bytes;
        const char* stored;
    } sources[] = {
        {"a.png", encodeImage(ImageKind::Png, 64, 32, 24), "texs/a.png"},  // copied
        {"b.png", encodeImage(ImageKind::Png, 16, 16, 32), "texs/b.png"},  // copied, with alpha
        {"c.jpg", encodeImage(ImageKind::Jpg, 64, 32, 24), "texs/c.jpg"},  // copied
        {"d.png", encodeImage(ImageKind::Png, 30, 20, 24), "texs/d.jpg"},  // rows of 90 bytes: converted
        {"e.jpg", encodeImage(ImageKind::Jpg, 64, 32, 8), "texs/e.jpg"},   // greyscale: converted
        {"a.tga", encodeImage(ImageKind::Tga, 8, 8, 24), "texs/a_2.jpg"},  // another format, same stem
        {"", encodeImage(ImageKind::Jpg, 32, 8, 24), "texs/embedded 1.jpg"},  // copied
    };
    std::vector<VeldaPack::PackTexture> textures(std::size(sources));
    std::vector<std::pair<int, const VeldaPack::PackTexture*>> list;
    for (size_t i = 0; i < textures.size(); ++i) {
        textures[i].name = *sources[i].file ? sources[i].file : "embedded 1";
        if (*sources[i].file) {
            textures[i].path = dir.file(sources[i].file);
            ASSERT_TRUE(Velda::writeFile(textures[i].path, sources[i].bytes.data(), sources[i].bytes.size()));
        } else {
            textures[i].bytes = sources[i].bytes;
        }
        list.emplace_back(static_cast<int>(i), &textures[i]);
    }
    list.emplace_back(0, &textures[0]);  // asked twice, written once

    VeldaPack::TextureStore store(dir.file("texs"));
    store.storeAll(list);
    EXPECT_EQ(store.written(), textures.size());
    EXPECT_EQ(store.failed(), 0u);
    EXPECT_EQ(store.copied(), 4u);
    for (size_t i = 0; i < textures.size(); ++i) {
        EXPECT_EQ(store.store(static_cast<int>(i), textures[i]).name, sources[i].stored);
        EXPECT_EQ(store.store(static_cast<int>(i), textures[i]).alpha, i == 1) << sources[i].stored;
        expectViewerReadable(dir.file(sources[i].stored));
    }
    for (size_t copied : {0, 2, 6})  // byte for byte
        EXPECT_EQ(bytesOf(dir.file(sources[copied].stored)), sources[copied].bytes);
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
    EXPECT_GE(bundles.blended, 2u);  // glass and water, whose names are Chinese
    EXPECT_TRUE(std::any_of(bundles.materialNames.begin(), bundles.materialNames.end(),
                            [](const auto& m) { return m.second.find(L'水') != std::wstring::npos; }));
    for (const auto& entry : fs::directory_iterator(out + "/texs"))
        expectViewerReadable(entry.path().string());
    for (const char* name : {"facade brick A.jpg", "玻璃 窗.png", "外墙 混凝土.jpg"})  // blanks and Chinese survive
        EXPECT_TRUE(fs::exists(out + "/texs/" + name)) << name;
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
    const VeldaPack::PackObject object{"o", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 0, 0, {0, 0, 0}, {1, 1, 0}};
    scene.objects.assign(70000, object);
    VeldaTest::TempDir dir;
    VeldaPack::ProjectWriter::write(scene, dir.file("many"), VeldaPack::PackOptions());
    const VeldaClient::IndexInfo index = indexOf(dir.file("many"));
    EXPECT_EQ(index.objectCount(), 70000u);
    EXPECT_EQ(index.objects().size(), 70000u);  // one id each
}

// The sky's box makes the viewer keep the dome at radius 12, and its cube
// faces meet without seams.
TEST(SkyResources, TheDomeAndItsCube)
{
    const std::string sky = fs::path(VELDA_PACK_PATH).parent_path().string() + "/SkyResources";
    const VeldaClient::IndexInfo index = indexOf(sky);
    ASSERT_EQ(index.objectCount(), 1u);
    const float diagonal = (index.bounds().getMax() - index.bounds().getMin()).length();
    EXPECT_NEAR(index.objects().begin()->second.bounds.getMax().x * 10.0f / diagonal, 12.0f, 0.5f);
    const Bundles bundles = readBundles(sky, index);
    ASSERT_EQ(bundles.textures.at(0).size(), 1u);
    expectViewerReadable(sky + "/" + Velda::wideToUtf8(bundles.textures.at(0)[0]));

    const Bitmap right = load(sky + "/img/rt.jpg"), up = load(sky + "/img/up.jpg");  // +x, +z
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

// --progress: lines "progress SHARE STEP" whose shares never fall, through
// the steps in order (the IFC reader's geometry workers between reading and
// writing), ending near the whole; the report line still comes.
TEST(Pack, ProgressLinesRiseThroughTheSteps)
{
    VeldaTest::TempDir dir;
    const std::vector<std::pair<std::string, std::vector<std::string>>> models = {
        {kModels + "OBJ/box.obj", {"read", "write"}},
        {kModels + "IFC/AC14-FZK-Haus.ifc", {"read", "shapes", "write"}}};
    for (const auto& model : models) {
        SCOPED_TRACE(model.first);
        const VeldaTest::ProcessResult r =
            pack({model.first, dir.file(fs::path(model.first).filename().string()), "--progress", "--report"});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::istringstream lines(r.out);
        std::vector<std::string> steps;
        double last = 0.0;
        bool reported = false;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("velda-pack: ", 0) == 0) {
                reported = true;
                continue;
            }
            std::istringstream words(line);
            std::string word, step;
            double share = -1.0;
            words >> word >> share >> step;
            ASSERT_EQ(word, "progress") << line;
            EXPECT_GE(share, last) << line;
            EXPECT_LE(share, 1.0) << line;
            last = share;
            if (steps.empty() || steps.back() != step)
                steps.push_back(step);
        }
        EXPECT_EQ(steps, model.second);
        EXPECT_GT(last, 0.95);
        EXPECT_TRUE(reported);
    }
}
