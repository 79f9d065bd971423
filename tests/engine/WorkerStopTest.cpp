// Releasing the asset manager while the worker is inside a transfer: the
// worker is stopped and joined before any asset goes (under the sanitizers
// any touch of freed memory is reported), and the file of the abandoned
// transfer is never written under its name in the cache.
#include "assets/AssetManager.h"
#include "assets/DiskCache.h"
#include "jobs/JobManager.h"
#include "platform/Platform.h"

#include "LocalServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

using namespace Velda;

namespace {

using Clock = std::chrono::steady_clock;

// Serves every file as a megabyte that trickles out 16 bytes at a time.
class TrickleServer {
public:
    TrickleServer()
    {
        server_.http.Get("/project/file.action", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content_provider(1 << 20, "application/octet-stream",
                                     [this](size_t, size_t, httplib::DataSink& sink) {
                                         std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                         const bool sent = sink.write("0123456789abcdef", 16);
                                         if (sent)
                                             ++chunks;
                                         return sent;
                                     });
        });
        server_.start();
    }
    std::string root() const { return server_.url() + "/project/file.action?id=7&pars="; }
    std::atomic<int> chunks{0};

private:
    VeldaTest::LocalServer server_;
};

size_t filesBelow(const std::string& folder)
{
    size_t n = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
        n += e.is_regular_file() ? 1 : 0;
    return n;
}

} // namespace

TEST(WorkerStop, ReleasingTheManagerDuringATransferIsSafe)
{
    VeldaTest::TempDir dir;
    const std::string appData = dir.path() + "/Qem Files/";
    // A folder being filled, so that a store would succeed if one happened.
    Platform::makeDirectories(appData + "Cache/cache_1/texs");
    DiskCache::setRoot(appData);
    TrickleServer server;

    for (int round = 1; round <= 10; ++round) {
        SCOPED_TRACE(round);
        const std::string name = std::to_string(round) + ".me";
        const int before = server.chunks;
        AssetManager* manager = new AssetManager();
        manager->setBaseFolder(appData);
        ASSERT_NE(manager->load(server.root() + name, Callback()), nullptr);
        const auto deadline = Clock::now() + std::chrono::seconds(60);
        while (server.chunks < before + 2 && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_GE(server.chunks, before + 2) << "the transfer never started";

        delete manager;  // in the middle of the megabyte

        EXPECT_TRUE(JobManager::instance().idle());
        EXPECT_FALSE(VeldaTest::exists(appData + "Cache/cache_1/" + name));
        EXPECT_EQ(filesBelow(appData + "Cache"), 0u);  // no temporary file either
    }
    DiskCache::setRoot(std::string());
}
