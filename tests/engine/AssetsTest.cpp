#include "assets/AssetBinary.h"
#include "assets/AssetBundle.h"
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "assets/AssetTexture1D.h"
#include "assets/AssetTexture2D.h"
#include "assets/AssetTextureCube.h"
#include "formats/Geometry.h"
#include "formats/Material.h"
#include "formats/PackedData.h"
#include "formats/ParserImage.h"
#include "jobs/FileHelpers.h"
#include "platform/Platform.h"
#include "render/IndexBufferObject.h"
#include "render/Texture1D.h"
#include "render/Texture2D.h"
#include "render/TextureCube.h"

#include "AssetGLTest.h"
#include "ProjectSamples.h"
#include "TestImages.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Velda;
using VeldaTest::ImageKind;

namespace {

using Node = VeldaDocNode;

class Assets : public VeldaTest::AssetGLTest {
protected:
    void SetUp() override
    {
        AssetGLTest::SetUp();
        sky = dir.path() + "/SkyResources/";
        Platform::makeDirectories(sky + "img");
    }
    std::string put(const std::string& name, const std::vector<unsigned char>& bytes)
    {
        EXPECT_TRUE(writeFile(sky + name, bytes.data(), bytes.size()));
        return "file://" + sky + name;
    }
    std::string sky;
};

// One triangle drawn by "s0" (16-bit) and again by "s32" (32-bit), a set
// "bad" pointing past the three vertices, and beside the positions an
// interleaved group of five floats a vertex.
std::unique_ptr<Node> meshDocument(int id)
{
    std::unique_ptr<Node> d = VeldaTest::meshDocument(id, 1);  // id, vnum, attribs, indices
    const float normalUv[15] = {0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 1, 0, 1};
    d->children[2]->addChild(new Node(L"Normal/UV1_T", normalUv, 15));
    const int32_t wide[6] = {2, 1, 0, 0, 1, 2}, bad[3] = {0, 1, 3};
    d->children[3]->addChild(new Node(L"s32", wide, 6));
    d->children[3]->addChild(new Node(L"bad", bad, 3));
    return d;
}

std::unique_ptr<Node> materialDocument(int id, const std::wstring& name, bool channel0On)
{
    std::unique_ptr<Node> d(new Node(L"mtrl"));
    d->addChild(new Node(L"id", static_cast<int32_t>(id)));
    d->addChild(new Node(L"name", name));
    d->addChild(new Node(L"emi", 0.0f, 0.0f, 0.0f));
    d->addChild(new Node(L"spe", 0.0f, 0.0f, 0.0f));
    d->addChild(new Node(L"texon", std::vector<uint8_t>{static_cast<uint8_t>(channel0On), 0, 0, 0, 0, 0, 0}));
    d->addChild(new Node(L"tex", std::vector<std::wstring>{L"img/水 a.jpg", L"img/off.jpg", L"", L"", L"", L"", L""}));
    const float w[7] = {0.5f, 0.7f, 0, 0, 0, 0, 0};
    d->addChild(new Node(L"texw", w, 7));
    const int32_t uv[7] = {1, 2, 0, 0, 0, 0, 0};
    d->addChild(new Node(L"uv", uv, 7));
    float pairs[14];
    for (int i = 0; i < 14; ++i)
        pairs[i] = static_cast<float>(i + 1);
    d->addChild(new Node(L"uvoff", pairs, 14));
    d->addChild(new Node(L"uvscl", pairs, 14));
    d->addChild(new Node(L"blend", static_cast<uint8_t>(1)));
    return d;
}

// Feeds one document to a child asset as a bundle does.
template <typename T>
std::unique_ptr<T> fromDocument(const std::string& url, Node& root)
{
    std::unique_ptr<T> asset(new T(url, nullptr));
    asset->setJobData(new JobData{&root, 1, false});
    asset->finish();
    asset->setJobData(nullptr);
    return asset;
}

} // namespace

TEST_F(Assets, ManagerDedupesAndChoosesClasses)
{
    const std::string jpg = put("img/a.jpg", VeldaTest::encodeImage(ImageKind::Jpg, 8, 8, 24));
    std::vector<int> calls;
    Asset* first = manager->load(jpg, [&](void*) { calls.push_back(1); return nullptr; });
    Asset* second = manager->load(jpg, [&](void*) { calls.push_back(2); return nullptr; });
    EXPECT_EQ(first, second);
    EXPECT_FALSE(manager->isReady());
    pump();
    EXPECT_EQ(calls, (std::vector<int>{2, 1}));
    // A short name finds the asset; a ready asset calls back at once.
    EXPECT_EQ(manager->load("SkyResources/img/a.jpg", [&](void*) { calls.push_back(3); return nullptr; }), first);
    EXPECT_EQ(calls.back(), 3);

    EXPECT_NE(dynamic_cast<AssetTexture1D*>(manager->load("file://" + sky + "img/color.lt", Callback())), nullptr);
    EXPECT_NE(dynamic_cast<AssetTextureCube*>(manager->load("file://" + sky + "img/a.jpg|b.jpg", Callback())),
              nullptr);
    EXPECT_NE(dynamic_cast<AssetBundle*>(manager->load("file://" + sky + "9.ME", Callback())), nullptr);
    for (const std::string& none : {"file://" + sky + "notes.txt", "file://" + sky + "mixed.Png", std::string()})
        EXPECT_EQ(manager->load(none, Callback()), nullptr) << none;

    int binaryCalls = 0;
    const std::string index = put("index", {1, 2, 3});
    AssetBinary* raw = manager->loadBinary(index, [&](void*) { ++binaryCalls; return nullptr; });
    EXPECT_EQ(manager->loadBinary(index, [&](void*) { binaryCalls += 10; return nullptr; }), raw);
    pump();
    EXPECT_EQ(binaryCalls, 1);
    EXPECT_EQ(raw->dataSize(), 3u);
}

TEST_F(Assets, AnEmptySceneIsReadyAtOnce)
{
    EXPECT_EQ(manager->progress(), 0.0f);
    EXPECT_TRUE(manager->isReady());
    EXPECT_FALSE(manager->configPending());
}

TEST_F(Assets, ShortNamesAndDirectories)
{
    const std::pair<const char*, const char*> shortNames[] = {
        {"http://h/d?pars=texs%2Fa%20b.jpg", "texs/a b.jpg"},
        {"http://h/d?pars=3.mt", "3.mt"},
        {"http://h/d?x=1", ""},
        {"file:///q/Cache/cache_1/texs/a b.jpg", "texs/a b.jpg"},
        {"file:///q/Cache/cache_1/3.mt", "3.mt"},
        {"file:///p/SkyResources/3.mt", "10003.mt"},
        {"file:///p/SkyResources/img/rt.jpg|lf.jpg", "SkyResources/img/rt.jpg|lf.jpg"},
        // A project folder addressed directly goes by the names of its files.
        {"file:///p/house/texs/a%20b.jpg", "texs/a b.jpg"},
        {"file:///p/house/2.me", "2.me"},
    };
    for (const auto& c : shortNames)
        EXPECT_EQ(AssetManager::shortName(c.first), c.second) << c.first;

    EXPECT_EQ(AssetBinary("http://h/d?pars=3.mt?Id=1").directory(), "http://h/d?pars=");
    EXPECT_EQ(AssetBinary("file:///q/Cache/cache_1/3.mt?Id=1").directory(), "file:///q/Cache/cache_1/");
    EXPECT_EQ(AssetBinary("SkyResources").directory(), "");
    EXPECT_EQ(AssetBinary("file:///p/house/1.mt?Id=0").directory(), "file:///p/house/");
    EXPECT_EQ(AssetBinary("http://h/house/1.mt").directory(), "");
    EXPECT_FALSE(AssetBinary("file:///q/Cache/cache_1/3.mt").isRemote());
    EXPECT_TRUE(AssetBinary("http://h/d?pars=3.mt").isRemote());
}

TEST_F(Assets, BundlesUnpackIntoChildren)
{
    std::unique_ptr<Node> a = materialDocument(1, L"a", false), b = materialDocument(2, L"b", false),
                          c = materialDocument(3, L"c", false);
    const std::string url = put("5.mt", packBundle({a.get(), b.get(), c.get()}));
    std::vector<std::string> seen;
    AssetBundle* bundle = dynamic_cast<AssetBundle*>(manager->load(url, [&](void* arg) {
        seen.push_back(Asset::fromCallbackArgument(arg)->path());
        return nullptr;
    }));
    ASSERT_NE(bundle, nullptr);
    AssetBundle* empty = dynamic_cast<AssetBundle*>(manager->load(put("6.mt", packBundle({})), Callback()));
    pump();
    ASSERT_EQ(bundle->children().size(), 3u);
    EXPECT_EQ(seen, (std::vector<std::string>{url + "?Id=0", url + "?Id=1", url + "?Id=2"}));
    EXPECT_TRUE(bundle->isReady());
    EXPECT_EQ(dynamic_cast<AssetMaterial*>(bundle->children()[2])->id(), 3);
    EXPECT_TRUE(empty->isReady());
    EXPECT_EQ(empty->readyFraction(), 0.0);
    // Sky bundles never count towards the progress figure.
    manager->setExpectedCount(2);
    EXPECT_EQ(manager->progress(), 0.0f);
}

TEST_F(Assets, MeshDocuments)
{
    const int64_t trianglesBefore = Geometry::triangleTotal();
    std::unique_ptr<Node> doc = meshDocument(42);
    std::unique_ptr<AssetMesh> mesh = fromDocument<AssetMesh>("x.me?Id=0", *doc);
    ASSERT_TRUE(mesh->isReady());
    EXPECT_EQ(mesh->id(), 42);
    Geometry& g = *mesh->geometry();
    EXPECT_EQ(g.vertexCount, 3u);
    EXPECT_EQ(g.indexWidths().at("s0"), 0);
    EXPECT_EQ(g.indexWidths().at("s32"), 1);
    EXPECT_EQ(g.indexCounts().count("bad"), 0u);  // left out, never drawn
    EXPECT_NE(g.indexBuffer("s32")->name(), 0u);
    EXPECT_EQ(Geometry::triangleTotal() - trianglesBefore, 3);  // (3 + 6) / 3

    const Layout& layout = g.getLayout();
    EXPECT_EQ(layout.at("Position").stride, 3);
    EXPECT_EQ(layout.at("UV1_T").offset, 3);
    EXPECT_EQ(layout.at("UV1_T").stride, 5);
    EXPECT_EQ(layout.at("UV1_T").components, 2);
    const float more[3] = {1, 2, 3};
    g.addAttributeGroup("Normal/UV1_T", 1, 3, more);  // replaces the group, the layout follows
    EXPECT_EQ(g.getLayout().at("UV1_T").stride, 1);

    // "attribs" before "vnum": the groups get 0 floats per vertex.
    std::swap(doc->children[1], doc->children[2]);
    std::unique_ptr<AssetMesh> flat = fromDocument<AssetMesh>("x.me?Id=1", *doc);
    EXPECT_EQ(flat->geometry()->getLayout().at("Position").stride, 0);

    std::unique_ptr<AssetMesh> none(new AssetMesh("x.me?Id=2", nullptr));
    none->finish();  // no document: an empty geometry, still ready
    EXPECT_TRUE(none->isReady());
}

TEST_F(Assets, MaterialDocuments)
{
    std::unique_ptr<Node> doc = materialDocument(7, L"水面", true);
    std::unique_ptr<AssetMaterial> asset = fromDocument<AssetMaterial>("file://" + sky + "1.mt?Id=0", *doc);
    Material& m = *asset->material();
    EXPECT_EQ(asset->id(), 7);
    EXPECT_EQ(m.getName(), "水面");
    EXPECT_EQ(m.getEmissive(), Vector3(1, 1, 1));  // 0, 0, 0 stands for the default
    EXPECT_EQ(m.getSpecular(), Vector3(0, 0, 0));  // no such rule here
    EXPECT_EQ(m.getTexture(0), "img/水 a.jpg");
    EXPECT_EQ(m.getWeight(0), 0.5f);
    EXPECT_EQ(m.getUvSet(0), 1);
    EXPECT_EQ(m.getUvOffset(0), Vector3(1, 2, 0));
    // Channel 1 is off: its entries are skipped.
    EXPECT_EQ(m.getTexture(1), "");
    EXPECT_EQ(m.getWeight(1), -1.0f);
    EXPECT_EQ(m.getUvSet(1), -1);
    EXPECT_EQ(m.getUvOffset(1), Vector3(0, 0, 0));
    EXPECT_EQ(m.getUvScale(1), Vector3(1, 1, 0));
    EXPECT_TRUE(m.getBlend());
    EXPECT_FALSE(m.getDepthWrite());
    m.setBlend(false);
    EXPECT_TRUE(m.getDepthWrite());
    m.setEmissive({0, 0, 0.001f});  // only exactly 0, 0, 0 stands for the default
    EXPECT_EQ(m.getEmissive(), Vector3(0, 0, 0.001f));

    // A local material asks for its texture by path, unescaped; it is ready
    // when the texture is.
    ASSERT_EQ(asset->textures().count(0), 1u);
    EXPECT_EQ(asset->textures().at(0)->path(), "file://" + sky + "img/水 a.jpg");
    EXPECT_FALSE(asset->isReady());
    put("img/水 a.jpg", VeldaTest::encodeImage(ImageKind::Jpg, 4, 4, 24));
    pump();
    EXPECT_TRUE(asset->isReady());

    // A remote one escapes the name in UTF-8.
    std::unique_ptr<AssetMaterial> remote =
        fromDocument<AssetMaterial>("http://127.0.0.1:1/d?pars=1.mt?Id=0", *doc);
    EXPECT_EQ(remote->textures().at(0)->path(), "http://127.0.0.1:1/d?pars=img%2F%E6%B0%B4%20a.jpg");
    pump();

    std::unique_ptr<AssetMaterial> empty(new AssetMaterial("x.mt?Id=0", nullptr));
    empty->finish();
    EXPECT_FALSE(empty->isReady());  // never ready without a material
}

TEST_F(Assets, ImagesDecodeByKindAndDepth)
{
    struct Case {
        const char* name;
        ImageKind kind;
        int bits;
        unsigned format;  // 0: no texture
    };
    const Case cases[] = {
        {"img/rgb.jpg", ImageKind::Jpg, 24, GL_BGR},  {"img/grey.jpg", ImageKind::Jpg, 8, GL_LUMINANCE},
        {"img/rgba.png", ImageKind::Png, 32, GL_BGRA}, {"img/odd.PNG", ImageKind::Png, 24, GL_BGR},
        {"img/pal.png", ImageKind::Png, 8, 0},         {"img/t.tga", ImageKind::Tga, 24, GL_BGR},
        {"img/g.gif", ImageKind::Gif, 24, GL_BGR},
    };
    std::vector<AssetTexture2D*> textures;
    for (const Case& c : cases)
        textures.push_back(dynamic_cast<AssetTexture2D*>(
            manager->load(put(c.name, VeldaTest::encodeImage(c.kind, 13, 7, c.bits)), Callback())));
    Asset* bad = manager->load(put("img/broken.jpg", {0xFF, 0xD8, 0xFF, 0x00, 0x01}), Callback());
    AssetTexture2D* dial = dynamic_cast<AssetTexture2D*>(
        manager->load(put("img/光圈.png", VeldaTest::encodeImage(ImageKind::Png, 134, 134, 32)), Callback()));
    pump();
    for (size_t i = 0; i < textures.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        ASSERT_TRUE(textures[i]->isReady());
        EXPECT_TRUE(textures[i]->succeeded());
        EXPECT_EQ(textures[i]->width(), 13);
        if (cases[i].format == 0) {
            EXPECT_EQ(textures[i]->texture(), nullptr);
            continue;
        }
        ASSERT_NE(textures[i]->texture(), nullptr);
        EXPECT_EQ(textures[i]->texture()->format(), cases[i].format);
        EXPECT_NE(textures[i]->texture()->name(), 0u);
        EXPECT_TRUE(textures[i]->texture()->mipmapped());
    }
    EXPECT_TRUE(bad->isReady());
    EXPECT_FALSE(dynamic_cast<AssetTexture2D*>(bad)->succeeded());
    EXPECT_EQ(dynamic_cast<AssetTexture2D*>(bad)->texture(), manager->defaultTexture());
    EXPECT_NE(manager->defaultTexture()->name(), 0u);
    EXPECT_FALSE(dial->texture()->mipmapped());
    EXPECT_TRUE(manager->isReady());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(Assets, RampAndCube)
{
    put("img/color.jpg", VeldaTest::encodeImage(ImageKind::Jpg, 256, 4, 24));
    for (const char* face : {"rt.jpg", "lf.jpg", "bk.jpg", "ft.jpg", "up.jpg", "dn.jpg"})
        put(std::string("img/") + face, VeldaTest::encodeImage(ImageKind::Jpg, 16, 16, 24));
    AssetTexture1D* ramp = dynamic_cast<AssetTexture1D*>(manager->load("file://" + sky + "img/color.lt", Callback()));
    AssetTextureCube* cube = dynamic_cast<AssetTextureCube*>(
        manager->load("file://" + sky + "img/rt.jpg|lf.jpg|bk.jpg|ft.jpg|up.jpg|dn.jpg", Callback()));
    AssetTextureCube* repeated = dynamic_cast<AssetTextureCube*>(
        manager->load("file://" + sky + "img/rt.jpg|rt.jpg|bk.jpg|ft.jpg|up.jpg|dn.jpg", Callback()));
    pump();
    ASSERT_TRUE(ramp->isReady());
    EXPECT_EQ(ramp->source()->path(), "file://" + sky + "img/color.jpg");
    GLint width = 0;
    glBindTexture(GL_TEXTURE_1D, ramp->texture()->name());
    glGetTexLevelParameteriv(GL_TEXTURE_1D, 0, GL_TEXTURE_WIDTH, &width);
    EXPECT_EQ(width, 256);

    ASSERT_TRUE(cube->isReady());
    EXPECT_NE(cube->texture()->name(), 0u);
    EXPECT_EQ(cube->arrived(), 6);
    // The repeated face counts for both of its positions per arrival.
    EXPECT_GE(repeated->arrived(), 6);
    EXPECT_TRUE(repeated->isReady());
    EXPECT_TRUE(manager->isReady());
}

TEST(ParserDDS, RecognisesDxtFormats)
{
    std::vector<unsigned char> file(128 + 64, 0);
    std::memcpy(file.data(), "DDS ", 4);
    auto word = [&](int n, uint32_t v) { std::memcpy(file.data() + 4 + 4 * (n - 1), &v, 4); };
    word(3, 16);   // height
    word(4, 16);   // width
    word(5, 100);  // linear size
    word(7, 1);    // one mip map
    std::memcpy(file.data() + 84, "DXT1", 4);
    ParserDDS dds;
    ASSERT_TRUE(dds.parse(file.data(), static_cast<uint32_t>(file.size()), nullptr, 0));
    EXPECT_EQ(dds.record().dataSize, 100u);
    EXPECT_EQ(dds.record().internalFormat, static_cast<unsigned>(GL_COMPRESSED_RGBA_S3TC_DXT1_EXT));
    word(7, 3);  // with mip maps DXT1 takes twice the linear size, and the file is too short
    EXPECT_FALSE(dds.parse(file.data(), static_cast<uint32_t>(file.size()), nullptr, 0));
    std::memcpy(file.data() + 84, "ATI2", 4);
    EXPECT_FALSE(dds.parse(file.data(), static_cast<uint32_t>(file.size()), nullptr, 0));
}
