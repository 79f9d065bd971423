// The road of one file, end to end: a project served over real HTTP on
// loopback streams through the job thread and the disk cache into GL
// buffers and textures. Each load runs in a fresh process (this program
// started again with --load-project), so a later run has nothing but the
// disk cache in common with an earlier one.
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

#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>

using namespace Velda;
using Node = VeldaDocNode;
using VeldaTest::fileText;
using VeldaTest::filesBelow;
using Report = std::map<std::string, double>;

namespace {

// ---- the loader, run in a child process: "name value" lines ---------------

int loadProject(const std::string& root, const std::string& appData)
{
    VeldaTest::GLContext gl;
    AssetManager manager;
    manager.setBaseFolder(appData);
    DiskCache::setRoot(appData);
    std::string rootPath = root + "index", projectRoot = root;
    DiskCache::lookup(rootPath, projectRoot);
    VeldaTest::LoadedProject project;
    VeldaTest::requestProject(manager, rootPath, projectRoot, project);
    const auto textures = [&project] {  // the materials' textures, each once, and whether it is ready
        std::map<Asset*, bool> all;
        for (const AssetMaterial* m : project.materials)
            for (const auto& t : m->textures())
                all[t.second] = t.second->isReady();
        return all;
    };

    bool lineBeforeTextures = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (int idleTurns = 0; !manager.isReady() && std::chrono::steady_clock::now() < deadline && idleTurns < 200;) {
        JobManager::instance().finishOne();  // one hand-over per call, as in the frame
        idleTurns = JobManager::instance().idle() ? idleTurns + 1 : 0;
        for (const auto& t : textures())
            lineBeforeTextures = lineBeforeTextures || (!t.second && !fileText(appData + "Cache/Cache.config").empty());
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    int meshBuffers = 0, textureNames = 0;
    for (AssetMesh* m : project.meshes) {
        const Geometry& g = *m->geometry();
        bool buffers = !g.indexCounts().empty();
        for (const auto& set : g.indexCounts())
            buffers = buffers && g.indexBuffer(set.first)->name() != 0;
        for (const auto& group : g.attributeData())
            buffers = buffers && g.vertexBuffer(group.first)->name() != 0;
        meshBuffers += buffers;
    }
    for (const auto& t : textures()) {
        const AssetTexture2D* image = dynamic_cast<AssetTexture2D*>(t.first);
        textureNames += image && image->succeeded() && image->texture() && image->texture()->name() != 0;
    }
    std::printf("ready %d\nprogress %.9g\nmeshes %zu\nmeshBuffers %d\ntextures %zu\ntextureNames %d\ntriangles %lld\n"
                "lineBeforeTextures %d\n",
                manager.isReady(), static_cast<double>(manager.progress()), project.meshes.size(), meshBuffers,
                textures().size(), textureNames, static_cast<long long>(Geometry::triangleTotal()), lineBeforeTextures);
    return 0;
}

// ---- the project and its server ---------------------------------------------

std::unique_ptr<Node> material(int id, const std::wstring& texture)
{
    std::unique_ptr<Node> d(new Node(L"mtrl"));
    d->addChild(new Node(L"id", static_cast<int32_t>(id)));
    d->addChild(new Node(L"name", std::wstring(L"材质 ") + std::to_wstring(id)));
    if (!texture.empty()) {
        d->addChild(new Node(L"texon", std::vector<uint8_t>{1, 0, 0, 0, 0, 0, 0}));
        d->addChild(new Node(L"tex", std::vector<std::wstring>{texture, L"", L"", L"", L"", L"", L""}));
    }
    return d;
}

const std::set<std::string> kProjectFiles = {"index", "1.mt", "2.mt", "1.me", "2.me", "texs/brick wall.jpg",
                                             "texs/水.png"};
const std::map<std::string, int> kEachFileOnce = {{"index", 1}, {"1.mt", 1}, {"2.mt", 1}, {"1.me", 1}, {"2.me", 1},
                                                  {"texs/brick wall.jpg", 1}, {"texs/水.png", 1}};

// index, 1.mt, 2.mt, 1.me, 2.me and two textures, into a folder.
void writeProject(const std::string& folder)
{
    Platform::makeDirectories(folder + "/texs");
    const std::vector<float> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::vector<VeldaTest::SampleObject> objects;
    for (int i = 0; i < 4; ++i)
        objects.push_back({i + 1, L"object", identity, {0, 0, 0}, {1, 1, 1}, true, {{i + 1, 10 + i, L"s0"}}});
    const float lo[3] = {0, 0, 0}, hi[3] = {4, 1, 1};
    std::unique_ptr<Node> m1 = material(1, L"texs/brick wall.jpg"), m2 = material(2, L"texs/水.png"),
                          m3 = material(3, L"texs/brick wall.jpg"), m4 = material(4, L"");
    std::unique_ptr<Node> g1 = VeldaTest::meshDocument(10, 10), g2 = VeldaTest::meshDocument(11, 14),
                          g3 = VeldaTest::meshDocument(12, 4), g4 = VeldaTest::meshDocument(13, 2);
    const std::pair<const char*, std::vector<unsigned char>> files[] = {
        {"index", packIndex(*VeldaTest::indexDocument({1, 2}, {1, 2}, objects, lo, hi))},
        {"1.mt", packBundle({m1.get(), m2.get()})}, {"2.mt", packBundle({m3.get(), m4.get()})},
        {"1.me", packBundle({g1.get(), g2.get()})}, {"2.me", packBundle({g3.get(), g4.get()})},
        {"texs/brick wall.jpg", VeldaTest::encodeImage(VeldaTest::ImageKind::Jpg, 64, 32, 24)},
        {"texs/水.png", VeldaTest::encodeImage(VeldaTest::ImageKind::Png, 16, 16, 32)},
    };
    for (const auto& f : files)
        writeFile(folder + "/" + f.first, f.second.data(), f.second.size());
}

Report runLoader(const std::string& root, const std::string& appData)
{
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    const VeldaTest::ProcessResult r =
        VeldaTest::runProcess({std::string(self, static_cast<size_t>(n)), "--load-project", root, appData});
    EXPECT_TRUE(r.exited && r.exitCode == 0) << r.err;
    Report report;
    std::istringstream lines(r.out);
    std::string name;
    for (double value; lines >> name >> value;)
        report[name] = value;
    EXPECT_EQ(report.size(), 8u) << r.out << r.err;
    return report;
}

// Serves the project with the address shape of the service
// (...file.action?id=N&pars=<name>), counting requests by name. Names in
// `missing` answer 404; `dropped` sends half its body and closes.
class ProjectStreaming : public ::testing::Test {
protected:
    void SetUp() override
    {
        writeProject(dir.path() + "/project");
        Platform::makeDirectories(appData);
        server.http.Get("/project/file.action", [this](const httplib::Request& req, httplib::Response& res) {
            const std::string name = req.get_param_value("pars");
            std::lock_guard<std::mutex> lock(mutex);
            ++requests[name];
            if (missing.count(name)) {
                res.status = 404;
                return res.set_content("<html><body>404 Not Found</body></html>", "text/html");
            }
            auto body = std::make_shared<std::string>(fileText(dir.path() + "/project/" + name));
            if (name != dropped)
                return res.set_content(*body, "application/octet-stream");
            res.set_content_provider(body->size(), "application/octet-stream",
                                     [body](size_t offset, size_t, httplib::DataSink& sink) {
                                         if (offset == 0)
                                             sink.write(body->data(), body->size() / 2);
                                         return false;
                                     });
        });
        server.start();
    }
    std::string root(int id) const
    {
        return server.url() + "/project/file.action?id=" + std::to_string(id) + "&pars=";
    }
    // The counts since the last call.
    std::map<std::string, int> takeRequests()
    {
        std::lock_guard<std::mutex> lock(mutex);
        std::map<std::string, int> counts;
        counts.swap(requests);
        return counts;
    }

    VeldaTest::TempDir dir;
    const std::string appData = dir.path() + "/Qem Files/";
    std::set<std::string> missing;
    std::string dropped;
    std::mutex mutex;
    std::map<std::string, int> requests;
    VeldaTest::LocalServer server;  // last: it stops before what its handler uses goes
};

} // namespace

TEST_F(ProjectStreaming, FirstRunCachesSecondRunReadsTheCache)
{
    Report first = runLoader(root(7), appData);
    EXPECT_EQ(first["ready"], 1);
    EXPECT_EQ(first["progress"], 1.0);
    EXPECT_EQ(first["meshes"], 4);
    EXPECT_EQ(first["meshBuffers"], 4);
    EXPECT_EQ(first["textures"], 2);
    EXPECT_EQ(first["textureNames"], 2);
    EXPECT_EQ(first["triangles"], 10 + 14 + 4 + 2);  // the index counts over 3
    EXPECT_EQ(first["lineBeforeTextures"], 0);
    EXPECT_EQ(takeRequests(), kEachFileOnce);
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"), kProjectFiles);
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root(7) + "index\n");

    Report second = runLoader(root(7), appData);
    EXPECT_EQ(second["ready"], 1);
    EXPECT_EQ(second["progress"], 1.0);
    EXPECT_EQ(second["textureNames"], 2);
    EXPECT_TRUE(takeRequests().empty());  // a cache hit: no HTTP at all
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root(7) + "index\n");
}

TEST_F(ProjectStreaming, ABrokenProjectStaysUnreadyIsNotCachedAndIsFetchedWholeLater)
{
    missing = {"2.me", "texs/水.png"};
    dropped = "1.me";
    Report broken = runLoader(root(8), appData);
    EXPECT_EQ(broken["ready"], 0);
    EXPECT_LT(broken["progress"], 1.0);
    EXPECT_GE(broken["progress"], 0.5);  // the two material bundles arrived
    EXPECT_EQ(broken["textureNames"], 1);  // the fallback stands in for the other
    // Neither an error page nor the cut half is kept, and nothing is committed.
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"),
              (std::set<std::string>{"index", "1.mt", "2.mt", "texs/brick wall.jpg"}));
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), "");

    // Every file is back: the next start fetches the project again, shows
    // every file and commits exactly one line.
    missing.clear();
    dropped.clear();
    takeRequests();
    Report whole = runLoader(root(8), appData);
    EXPECT_EQ(whole["ready"], 1);
    EXPECT_EQ(whole["textureNames"], 2);
    EXPECT_EQ(whole["meshBuffers"], 4);
    EXPECT_EQ(takeRequests(), kEachFileOnce);
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), root(8) + "index\n");
    EXPECT_EQ(filesBelow(appData + "Cache/cache_1"), kProjectFiles);
}

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--load-project")
        return loadProject(argv[2], argv[3]);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
