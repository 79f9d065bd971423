// The road of one file, end to end: a project served over real HTTP on
// loopback streams through the job thread and the disk cache into GL
// buffers and textures. Each load runs in a fresh process (this program
// started again with --load-project), so the second run has nothing but
// the disk cache in common with the first.
#include "Common/IndexInfo.h"
#include "assets/AssetBinary.h"
#include "assets/AssetBundle.h"
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetMesh.h"
#include "assets/AssetTexture2D.h"
#include "assets/DiskCache.h"
#include "formats/Geometry.h"
#include "formats/PackedData.h"
#include "jobs/FileHelpers.h"
#include "jobs/JobManager.h"
#include "platform/Platform.h"
#include "render/IndexBufferObject.h"
#include "render/Texture2D.h"
#include "render/VertexBufferObject.h"

#include "GLHarness.h"
#include "LocalServer.h"
#include "Process.h"
#include "ProjectLoad.h"
#include "ProjectSamples.h"
#include "TempDir.h"
#include "TestImages.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <thread>

using namespace Velda;
using Node = VeldaDocNode;

using VeldaTest::fileText;

namespace {

// ---- the loader, run in a child process ----------------------------------

struct LoadReport {
    bool ready = false;
    float progress = 0;
    uint32_t expected = 0;
    int meshes = 0, meshesWithBuffers = 0;
    int materials = 0;
    int textures = 0, texturesWithNames = 0;
    int64_t triangles = 0, expectedTriangles = 0;
    bool lineBeforeTextures = false;
    bool lineWritten = false;
    std::string error;
};

int loadProject(const std::string& root, const std::string& appData)
{
    LoadReport report;
    try {
        VeldaTest::GLContext gl;
        AssetManager manager;
        manager.setBaseFolder(appData);
        DiskCache::setRoot(appData);
        std::string rootPath = root + "index", projectRoot = root;
        DiskCache::lookup(rootPath, projectRoot);

        VeldaTest::LoadedProject project;
        VeldaTest::requestProject(manager, rootPath, projectRoot, project);
        const std::vector<AssetMaterial*>& materials = project.materials;
        const std::vector<AssetMesh*>& meshes = project.meshes;

        const std::string config = appData + "Cache/Cache.config";
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        int idleTurns = 0;
        while (!manager.isReady() && std::chrono::steady_clock::now() < deadline && idleTurns < 200) {
            JobManager::instance().finishOne();  // one hand-over per call, as in the frame
            idleTurns = JobManager::instance().idle() ? idleTurns + 1 : 0;
            bool texturesDone = true;
            for (const AssetMaterial* m : materials)
                for (const auto& t : m->textures())
                    texturesDone = texturesDone && t.second->isReady();
            if (!fileText(config).empty() && !texturesDone)
                report.lineBeforeTextures = true;
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
        report.ready = manager.isReady();
        report.progress = manager.progress();
        report.expected = manager.expectedCount();
        report.lineWritten = !fileText(config).empty();
        for (AssetMesh* m : meshes) {
            ++report.meshes;
            bool buffers = m->geometry() && !m->geometry()->indexCounts().empty();
            for (const auto& set : m->geometry()->indexCounts()) {
                report.expectedTriangles += set.second / 3;
                buffers = buffers && m->geometry()->indexBuffer(set.first)->name() != 0;
            }
            for (const auto& group : m->geometry()->attributeData())
                buffers = buffers && m->geometry()->vertexBuffer(group.first)->name() != 0;
            report.meshesWithBuffers += buffers ? 1 : 0;
        }
        std::set<Asset*> textures;
        for (AssetMaterial* m : materials) {
            ++report.materials;
            for (const auto& t : m->textures())
                textures.insert(t.second);
        }
        for (Asset* t : textures) {
            ++report.textures;
            const AssetTexture2D* image = dynamic_cast<AssetTexture2D*>(t);
            report.texturesWithNames += image && image->succeeded() && image->texture() &&
                                        image->texture()->name() != 0 ? 1 : 0;
        }
        report.triangles = Geometry::triangleTotal();
    } catch (const std::exception& e) {
        report.error = e.what();
    }
    std::printf("{\"ready\":%s,\"progress\":%.9g,\"expected\":%u,\"meshes\":%d,\"meshesWithBuffers\":%d,"
                "\"materials\":%d,\"textures\":%d,\"texturesWithNames\":%d,\"triangles\":%lld,"
                "\"expectedTriangles\":%lld,\"lineBeforeTextures\":%s,\"lineWritten\":%s,\"error\":\"%s\"}\n",
                report.ready ? "true" : "false", static_cast<double>(report.progress), report.expected,
                report.meshes, report.meshesWithBuffers, report.materials, report.textures,
                report.texturesWithNames, static_cast<long long>(report.triangles),
                static_cast<long long>(report.expectedTriangles), report.lineBeforeTextures ? "true" : "false",
                report.lineWritten ? "true" : "false", report.error.c_str());
    return 0;
}

// ---- the project and its server --------------------------------------------

std::unique_ptr<Node> material(int id, const std::wstring& texture)
{
    std::unique_ptr<Node> d(new Node(L"mtrl"));
    d->addChild(new Node(L"id", static_cast<int32_t>(id)));
    d->addChild(new Node(L"name", std::wstring(L"材质 ") + std::to_wstring(id)));
    d->addChild(new Node(L"dif", 0.5f, 0.5f, 0.5f));
    if (!texture.empty()) {
        d->addChild(new Node(L"texon", std::vector<uint8_t>{1, 0, 0, 0, 0, 0, 0}));
        d->addChild(new Node(L"tex", std::vector<std::wstring>{texture, L"", L"", L"", L"", L"", L""}));
        const int32_t uv[7] = {0, -1, -1, -1, -1, -1, -1};
        d->addChild(new Node(L"uv", uv, 7));
    }
    return d;
}

std::unique_ptr<Node> mesh(int id, uint16_t quads)
{
    std::unique_ptr<Node> d(new Node(L"mesh"));
    d->addChild(new Node(L"id", static_cast<int32_t>(id)));
    const uint32_t vertices = 4u * quads;
    d->addChild(new Node(L"vnum", static_cast<int32_t>(vertices)));
    std::vector<float> position, uv;
    std::vector<uint16_t> indices;
    for (uint16_t q = 0; q < quads; ++q) {
        const float x = q;
        const float corners[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        for (const auto& c : corners) {
            position.insert(position.end(), {x + c[0], c[1], 0.0f});
            uv.insert(uv.end(), {c[0], c[1]});
        }
        const uint16_t b = static_cast<uint16_t>(4 * q);
        indices.insert(indices.end(), {b, static_cast<uint16_t>(b + 1), static_cast<uint16_t>(b + 2), b,
                                       static_cast<uint16_t>(b + 2), static_cast<uint16_t>(b + 3)});
    }
    Node* attribs = new Node(L"attribs");
    attribs->addChild(new Node(L"Position", position));
    attribs->addChild(new Node(L"UV0", uv));
    d->addChild(attribs);
    Node* sets = new Node(L"indices");
    sets->addChild(new Node(L"s0", indices.data(), static_cast<uint32_t>(indices.size())));
    d->addChild(sets);
    return d;
}

// index, 1.mt, 2.mt, 1.me, 2.me and two textures, into a folder.
void writeProject(const std::string& folder)
{
    Platform::makeDirectories(folder + "/texs");
    const std::vector<float> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::vector<VeldaTest::SampleObject> objects;
    for (int i = 0; i < 4; ++i)
        objects.push_back({i + 1, L"object", identity, {0, 0, 0}, {1, 1, 1}, true, {{i + 1, 10 + i, L"s0"}}});
    const float lo[3] = {0, 0, 0}, hi[3] = {4, 1, 1};
    const std::vector<unsigned char> index =
        packIndex(*VeldaTest::indexDocument({1, 2}, {1, 2}, objects, lo, hi));
    writeFile(folder + "/index", index.data(), index.size());

    std::unique_ptr<Node> m1 = material(1, L"texs/brick wall.jpg"), m2 = material(2, L"texs/水.png"),
                          m3 = material(3, L"texs/brick wall.jpg"), m4 = material(4, L"");
    std::unique_ptr<Node> g1 = mesh(10, 5), g2 = mesh(11, 7), g3 = mesh(12, 2), g4 = mesh(13, 1);
    const std::pair<const char*, std::vector<unsigned char>> files[] = {
        {"1.mt", packBundle({m1.get(), m2.get()})}, {"2.mt", packBundle({m3.get(), m4.get()})},
        {"1.me", packBundle({g1.get(), g2.get()})}, {"2.me", packBundle({g3.get(), g4.get()})},
        {"texs/brick wall.jpg", VeldaTest::encodeImage(VeldaTest::ImageKind::Jpg, 64, 32, 24)},
        {"texs/水.png", VeldaTest::encodeImage(VeldaTest::ImageKind::Png, 16, 16, 32)},
    };
    for (const auto& f : files)
        writeFile(folder + "/" + f.first, f.second.data(), f.second.size());
}

class ProjectServer {
public:
    explicit ProjectServer(const std::string& folder) : folder_(folder)
    {
        // The address shape of the service: ...file.action?id=N&pars=<name>
        server_.http.Get("/project/file.action", [this](const httplib::Request& req, httplib::Response& res) {
            const std::string name = req.get_param_value("pars");
            {
                std::lock_guard<std::mutex> lock(mutex_);
                ++requests_[name];
            }
            if (name == missing) {
                res.status = 404;
                res.set_content("<html><body>404 Not Found</body></html>", "text/html");
                return;
            }
            const std::pair<char*, size_t> f = readFile(folder_ + "/" + name);
            std::shared_ptr<std::string> body(new std::string(f.first, f.second));
            delete[] f.first;
            if (name == dropped) {
                // Half the body, then the connection closes.
                res.set_content_provider(body->size(), "application/octet-stream",
                                         [body](size_t offset, size_t, httplib::DataSink& sink) {
                                             if (offset > 0)
                                                 return false;
                                             sink.write(body->data(), body->size() / 2);
                                             return false;
                                         });
                return;
            }
            res.set_content(*body, "application/octet-stream");
        });
        server_.start();
    }
    std::string root(int id) const { return server_.url() + "/project/file.action?id=" + std::to_string(id) + "&pars="; }
    std::map<std::string, int> requests()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return requests_;
    }
    void resetCounts()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.clear();
    }
    std::string missing, dropped;

private:
    std::string folder_;
    VeldaTest::LocalServer server_;
    std::mutex mutex_;
    std::map<std::string, int> requests_;
};

rapidjson::Document runLoader(const std::string& root, const std::string& appData)
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    const VeldaTest::ProcessResult r =
        VeldaTest::runProcess({std::string(self, static_cast<size_t>(n)), "--load-project", root, appData});
    EXPECT_TRUE(r.exited && r.exitCode == 0) << r.err;
    rapidjson::Document d;
    d.Parse(r.out.c_str());
    EXPECT_FALSE(d.HasParseError()) << r.out << r.err;
    EXPECT_STREQ(d["error"].GetString(), "");
    return d;
}

std::set<std::string> filesBelow(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
        if (e.is_regular_file())
            names.insert(std::filesystem::relative(e.path(), folder).string());
    return names;
}

} // namespace

TEST(ProjectStreaming, FirstRunCachesSecondRunReadsTheCache)
{
    VeldaTest::TempDir dir;
    writeProject(dir.path() + "/project");
    ProjectServer server(dir.path() + "/project");
    const std::string appData = dir.path() + "/Qem Files/";
    Platform::makeDirectories(appData);
    const std::string root = server.root(7);

    const rapidjson::Document first = runLoader(root, appData);
    EXPECT_TRUE(first["ready"].GetBool());
    EXPECT_EQ(first["progress"].GetDouble(), 1.0);
    EXPECT_EQ(first["expected"].GetInt(), 4);
    EXPECT_EQ(first["meshes"].GetInt(), 4);
    EXPECT_EQ(first["meshesWithBuffers"].GetInt(), 4);
    EXPECT_EQ(first["materials"].GetInt(), 4);
    EXPECT_EQ(first["textures"].GetInt(), 2);
    EXPECT_EQ(first["texturesWithNames"].GetInt(), 2);
    EXPECT_EQ(first["triangles"].GetInt64(), first["expectedTriangles"].GetInt64());
    EXPECT_EQ(first["triangles"].GetInt64(), 2 * (5 + 7 + 2 + 1));
    EXPECT_TRUE(first["lineWritten"].GetBool());
    EXPECT_FALSE(first["lineBeforeTextures"].GetBool());

    const std::map<std::string, int> expected = {{"index", 1}, {"1.mt", 1}, {"2.mt", 1}, {"1.me", 1},
                                                 {"2.me", 1}, {"texs/brick wall.jpg", 1}, {"texs/水.png", 1}};
    EXPECT_EQ(server.requests(), expected);
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"),
              (std::set<std::string>{"index", "1.mt", "2.mt", "1.me", "2.me", "texs/brick wall.jpg", "texs/水.png"}));
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root + "index\n");

    server.resetCounts();
    const rapidjson::Document second = runLoader(root, appData);
    EXPECT_TRUE(second["ready"].GetBool());
    EXPECT_EQ(second["progress"].GetDouble(), 1.0);
    EXPECT_EQ(second["texturesWithNames"].GetInt(), 2);
    EXPECT_TRUE(server.requests().empty());  // a cache hit: no HTTP at all
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root + "index\n");
}

TEST(ProjectStreaming, MissingAndCutFilesLeaveTheirBundlesUnready)
{
    VeldaTest::TempDir dir;
    writeProject(dir.path() + "/project");
    ProjectServer server(dir.path() + "/project");
    server.missing = "2.me";
    server.dropped = "1.me";
    const std::string appData = dir.path() + "/Qem Files/";
    Platform::makeDirectories(appData);

    const rapidjson::Document run = runLoader(server.root(8), appData);
    EXPECT_FALSE(run["ready"].GetBool());
    EXPECT_LT(run["progress"].GetDouble(), 1.0);
    EXPECT_GE(run["progress"].GetDouble(), 0.5);  // the two material bundles arrived
    EXPECT_EQ(run["texturesWithNames"].GetInt(), 2);
    // Neither the error page nor the cut half is kept, and the project is
    // not committed.
    EXPECT_FALSE(VeldaTest::exists(appData + "Cache/cache_1/2.me"));
    EXPECT_FALSE(VeldaTest::exists(appData + "Cache/cache_1/1.me"));
    EXPECT_TRUE(VeldaTest::exists(appData + "Cache/cache_1/1.mt"));
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), "");
}

TEST(ProjectStreaming, ABrokenProjectIsFetchedAgainAndCommittedOnceWhole)
{
    VeldaTest::TempDir dir;
    writeProject(dir.path() + "/project");
    ProjectServer server(dir.path() + "/project");
    server.missing = "texs/水.png";
    const std::string appData = dir.path() + "/Qem Files/";
    Platform::makeDirectories(appData);
    const std::string root = server.root(9);

    const rapidjson::Document broken = runLoader(root, appData);
    EXPECT_EQ(broken["texturesWithNames"].GetInt(), 1);  // the fallback stands in for the other
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), "");
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"),
              (std::set<std::string>{"index", "1.mt", "2.mt", "1.me", "2.me", "texs/brick wall.jpg"}));

    // The texture is back: the next start fetches the project again, shows
    // every file and commits exactly one line.
    server.missing.clear();
    server.resetCounts();
    const rapidjson::Document whole = runLoader(root, appData);
    EXPECT_TRUE(whole["ready"].GetBool());
    EXPECT_EQ(whole["texturesWithNames"].GetInt(), 2);
    EXPECT_EQ(whole["meshesWithBuffers"].GetInt(), 4);
    EXPECT_EQ(server.requests().count("index"), 1u);
    EXPECT_EQ(server.requests().count("texs/水.png"), 1u);
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root + "index\n");
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"),
              (std::set<std::string>{"index", "1.mt", "2.mt", "1.me", "2.me", "texs/brick wall.jpg", "texs/水.png"}));

    server.resetCounts();
    const rapidjson::Document cached = runLoader(root, appData);
    EXPECT_EQ(cached["texturesWithNames"].GetInt(), 2);
    EXPECT_TRUE(server.requests().empty());
}

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--load-project")
        return loadProject(argv[2], argv[3]);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
