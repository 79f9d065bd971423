// The job thread and its load jobs, the transfers and file helpers they
// use, and the disk cache they fill.
#include "assets/AssetManager.h"
#include "assets/DiskCache.h"
#include "jobs/FileHelpers.h"
#include "jobs/HttpTransfer.h"
#include "jobs/JobManager.h"
#include "jobs/LoadJob.h"
#include "jobs/NumberText.h"
#include "platform/Platform.h"

#include "JobPump.h"
#include "LocalServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <curl/curl.h>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Velda;

namespace {

std::string blockText(MemoryBlock block)
{
    MemoryBlockOwner owner(block);
    EXPECT_NE(block.bytes, nullptr);
    EXPECT_EQ(block.bytes[block.size], 0);  // always terminated
    return std::string(block.bytes, block.size);
}

class HttpTransfer : public ::testing::Test {
protected:
    static void SetUpTestSuite() { curl_global_init(CURL_GLOBAL_ALL); }
    static void TearDownTestSuite() { curl_global_cleanup(); }

    void SetUp() override
    {
        server.http.Get("/binary", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string("ab\0cd", 5), "application/octet-stream");
        });
        server.http.Get("/missing", [](const httplib::Request&, httplib::Response& res) {
            res.status = 404;
            res.set_content("not here", "text/plain");
        });
        server.http.Get("/agent", [](const httplib::Request& req, httplib::Response& res) {
            res.set_content(req.get_header_value("User-Agent"), "text/plain");
        });
        server.http.Post("/echo", [this](const httplib::Request& req, httplib::Response& res) {
            lastAgent = req.get_header_value("User-Agent");
            res.set_content(req.body, "application/octet-stream");
        });
        server.http.Put("/put", [this](const httplib::Request& req, httplib::Response& res) {
            putBody = req.body;
            putType = req.get_header_value("Content-Type");
            res.set_header("ETag", "\"ABC123\"");
            res.set_content("body is not the answer", "text/plain");
        });
        server.start();
    }

    VeldaTest::LocalServer server;
    std::string lastAgent = "unset";
    std::string putBody;
    std::string putType;
    VeldaTest::TempDir dir;
};

} // namespace

// A body cut short of its length is the streaming test's half-sent file.
TEST_F(HttpTransfer, GetsTellWholeFilesFromFailedOnes)
{
    const std::string local = dir.file("纹理 1.jpg");  // a blank and UTF-8 in a local address
    ASSERT_TRUE(writeTextFile(local, "local bytes"));
    const struct {
        std::string url;
        bool whole;
        std::string body;
    } cases[] = {
        {server.url() + "/binary", true, std::string("ab\0cd", 5)},
        {server.url() + "/missing", false, "not here"},  // the error page is a body, not a whole file
        {"http://127.0.0.1:1/x", false, ""},
        {"file://" + local, true, "local bytes"},
        {"file://" + dir.file("none.me"), false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        const Download d = httpDownload(c.url);
        EXPECT_EQ(d.whole, c.whole);
        EXPECT_FALSE(d.stopped);
        EXPECT_EQ(blockText(d.body), c.body);
        EXPECT_EQ(blockText(httpFetch(c.url)), c.body);
    }
    EXPECT_EQ(httpGet(server.url() + "/binary"), "ab");  // cut at the zero byte
    EXPECT_EQ(httpGet(server.url() + "/agent"), "libcurl-agent/1.0");
    const std::pair<char*, size_t> none = readFile(dir.file("none.me"));
    EXPECT_NE(none.first, nullptr);  // never null, even for no file
    EXPECT_EQ(none.second, 0u);
    delete[] none.first;

    // A raised stop flag ends the transfer at its first callback.
    const std::atomic<bool> stop{true};
    const Download stopped = httpDownload(server.url() + "/binary", &stop);
    EXPECT_TRUE(stopped.stopped);
    EXPECT_FALSE(stopped.whole);
    std::free(stopped.body.bytes);
}

TEST_F(HttpTransfer, PostsSendBytesAsGiven)
{
    const std::string body = "postion={\"a\":\"1+1%3D2&b=c\",\"名\":\"水\"}";
    EXPECT_EQ(blockText(httpPostForm(server.url() + "/echo", body)), body);
    EXPECT_EQ(lastAgent, "");  // no user agent on a POST
    const std::string binary("x\0y", 3);
    EXPECT_EQ(blockText(httpPostForm(server.url() + "/echo", binary.data(), binary.size())), binary);
    ASSERT_TRUE(writeTextFile(dir.file("form.txt"), body));
    EXPECT_EQ(blockText(httpPostFile(server.url() + "/echo", dir.file("form.txt"))), body);
    EXPECT_EQ(blockText(httpPostForm("http://127.0.0.1:1/x", "a=1")), "");
}

TEST_F(HttpTransfer, PutAnswersWithHeadersAndDownloadWritesFiles)
{
    std::string content(70000, '\0');
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7);
    ASSERT_TRUE(writeFile(dir.file("thumb.jpg"), content.data(), content.size()));
    std::string answer = "stale";
    EXPECT_FALSE(httpPutFile("http://127.0.0.1:1/x", dir.file("thumb.jpg"), answer));
    EXPECT_EQ(answer, "");
    EXPECT_FALSE(httpPutFile(server.url() + "/put", dir.file("no such file"), answer));
    ASSERT_TRUE(httpPutFile(server.url() + "/put", dir.file("thumb.jpg"), answer));
    EXPECT_EQ(putBody, content);
    EXPECT_EQ(putType, "application/octet-stream");
    EXPECT_NE(answer.find("ETag: \"ABC123\""), std::string::npos);
    EXPECT_EQ(answer.find("body is not the answer"), std::string::npos);

    ASSERT_TRUE(httpDownloadFile(server.url() + "/binary", dir.file("down.bin")));
    EXPECT_EQ(VeldaTest::fileText(dir.file("down.bin")), std::string("ab\0cd", 5));
}

TEST(UrlText, EscapeAndNumbers)
{
    const std::string name = "texs/光圈 a+b%.png";
    EXPECT_EQ(urlEscape(name), "texs%2F%E5%85%89%E5%9C%88%20a%2Bb%25.png");  // UTF-8 on the wire
    EXPECT_EQ(urlUnescape(urlEscape(name)), name);
    EXPECT_EQ(urlUnescape("a%00b"), std::string("a\0b", 3));

    EXPECT_EQ(numberText(static_cast<int64_t>(-9000000000LL)), "-9000000000");
    EXPECT_EQ(numberText(1.25, 1), "1.2");
    EXPECT_EQ(numberText(1e30, 0).size(), 31u);
}

namespace {

std::mutex g_logMutex;
std::vector<std::string> g_log;

// The log so far, emptied; with `runsFirst` the runs (in their order) go
// before the finishes (in theirs), as the two threads interleave them freely.
std::vector<std::string> takeLog(bool runsFirst = false)
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    std::vector<std::string> out;
    out.swap(g_log);
    if (runsFirst)
        std::stable_partition(out.begin(), out.end(), [](const std::string& s) { return s.rfind("run ", 0) == 0; });
    return out;
}

// Notes its runs and finishes. Its finish may throw `throwsLeft` times, and
// with `waitsForStop` its first run waits for a stop of the worker and gives up.
struct NoteJob : IJob {
    explicit NoteJob(std::string name, IJob* follow = nullptr, int throwsLeft = 0, bool waitsForStop = false)
        : name(std::move(name)), follow(follow), throwsLeft(throwsLeft), waitsForStop(waitsForStop) {}
    void note(const std::string& what)
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        g_log.push_back(what + " " + name);
    }
    void run() override
    {
        note("run");
        abandoned_ = waitsForStop && runs++ == 0;
        while (abandoned_ && !JobManager::stopRequested())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    bool abandoned() const override { return abandoned_; }
    void finish() override
    {
        note("finish");
        if (throwsLeft-- > 0)
            throw std::runtime_error("finish failed");
        if (follow)
            JobManager::instance().addJob(follow);
    }

    std::string name;
    IJob* follow;
    int throwsLeft;
    bool waitsForStop;
    std::atomic<int> runs{0};
    std::atomic<bool> abandoned_{false};
};

} // namespace

TEST(JobManager, RunsAndFinishesInArrivalOrder)
{
    JobManager& jobs = JobManager::instance();
    jobs.finishOne();  // nothing queued: nothing happens
    EXPECT_TRUE(jobs.idle());
    takeLog();

    // The job added inside a finish goes behind the queue, not into that finish.
    NoteJob later("later");
    NoteJob a("a", &later), b("b"), c("c");
    jobs.addJob(&a);
    jobs.addJob(&b);
    jobs.addJob(&c);
    EXPECT_FALSE(jobs.idle());
    ASSERT_TRUE(VeldaTest::pumpJobs());
    EXPECT_EQ(takeLog(true), (std::vector<std::string>{"run a", "run b", "run c", "run later", "finish a",
                                                       "finish b", "finish c", "finish later"}));
}

TEST(JobManager, ABudgetHandsOverInOrderAndALimitHoldsTheWorkerBack)
{
    JobManager& jobs = JobManager::instance();
    takeLog();
    EXPECT_EQ(jobs.finishFor(10.0), 0);  // nothing waits

    // A limit of two: the worker runs no third job while two wait.
    jobs.setFinishedLimit(2);
    std::vector<std::unique_ptr<NoteJob>> queued;
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        queued.emplace_back(new NoteJob(name));
        jobs.addJob(queued.back().get());
    }
    ASSERT_TRUE(VeldaTest::waitForFinished(2));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(jobs.finishedJobs().size(), 2u);
    EXPECT_EQ(jobs.pendingJobs().size(), 3u);

    // A budget of nothing still hands one over; a long one hands over all
    // that wait, in order; the worker goes on as room is made.
    EXPECT_EQ(jobs.finishFor(0.0), 1);
    jobs.setFinishedLimit(0);
    ASSERT_TRUE(VeldaTest::waitForFinished(4));
    EXPECT_EQ(jobs.finishFor(60000.0), 4);
    EXPECT_TRUE(jobs.idle());
    const std::vector<std::string> log = takeLog();
    std::vector<std::string> finishes;
    std::copy_if(log.begin(), log.end(), std::back_inserter(finishes),
                 [](const std::string& line) { return line.compare(0, 6, "finish") == 0; });
    EXPECT_EQ(finishes, (std::vector<std::string>{"finish a", "finish b", "finish c", "finish d", "finish e"}));
}

TEST(JobManager, AFailingFinishKeepsItsJobInFront)
{
    JobManager& jobs = JobManager::instance();
    takeLog();
    NoteJob stubborn("stubborn", nullptr, 2), behind("behind");
    jobs.addJob(&stubborn);
    jobs.addJob(&behind);
    ASSERT_TRUE(VeldaTest::waitForFinished(2));
    EXPECT_THROW(jobs.finishOne(), std::runtime_error);
    EXPECT_THROW(jobs.finishOne(), std::runtime_error);
    EXPECT_EQ(jobs.finishedJobs().front(), &stubborn);
    jobs.finishOne();
    jobs.finishOne();
    EXPECT_TRUE(jobs.idle());
    EXPECT_EQ(takeLog(), (std::vector<std::string>{"run stubborn", "run behind", "finish stubborn",
                                                   "finish stubborn", "finish stubborn", "finish behind"}));
}

TEST(JobManager, AStopAbandonsTheRunningJobWhichRunsAgainLater)
{
    JobManager& jobs = JobManager::instance();
    takeLog();
    NoteJob stoppable("stoppable", nullptr, 0, true), behind("behind");
    jobs.addJob(&stoppable);
    jobs.addJob(&behind);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (stoppable.runs == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    jobs.stopWorker();  // returns once the worker has left the job
    jobs.stopWorker();  // a second stop is harmless
    EXPECT_EQ(jobs.pendingJobs(), (std::vector<IJob*>{&stoppable, &behind}));
    EXPECT_TRUE(jobs.finishedJobs().empty());
    EXPECT_EQ(takeLog(), (std::vector<std::string>{"run stoppable"}));

    NoteJob next("next");
    jobs.addJob(&next);  // a new worker takes the queue up where it stopped
    ASSERT_TRUE(VeldaTest::pumpJobs());
    EXPECT_EQ(takeLog(true), (std::vector<std::string>{"run stoppable", "run behind", "run next", "finish stoppable",
                                                       "finish behind", "finish next"}));
}

TEST(LoadJob, CallbacksRunLastAddedFirst)
{
    LoadJob job("");
    std::vector<int> order;
    job.addCallback(Callback());  // empty: ignored
    job.addCallback([&](void* self) { EXPECT_EQ(self, &job); order.push_back(1); return nullptr; });
    job.addCallback([&](void*) {
        order.push_back(2);
        // Added during the loop: it runs next, before the older one.
        job.addCallback([&](void*) { order.push_back(3); return nullptr; });
        return nullptr;
    });
    EXPECT_EQ(job.callbacks().size(), 2u);
    job.run();  // an empty address does nothing at all
    EXPECT_FALSE(job.isFinished());
    job.finish();
    EXPECT_EQ(order, (std::vector<int>{2, 3, 1}));
    EXPECT_TRUE(job.callbacks().empty());
}

TEST(JobManager, ThreadFailureText)
{
    EXPECT_STREQ(JobManager::threadErrorText(0), "Can not create thread, error code is : ");
    EXPECT_STREQ(JobManager::threadErrorText(11), "ate thread, error code is : ");  // from the twelfth character
    EXPECT_STREQ(JobManager::threadErrorText(500), "");
}

namespace {

class DiskCacheTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = dir.path() + "/Qem Files/";  // not made: the lookup makes it
        DiskCache::setRoot(root);
    }
    VeldaTest::TempDir dir;
    std::string root;
    const std::string project = "http://127.0.0.1:9/project/file.action?id=7&pars=";
};

} // namespace

TEST_F(DiskCacheTest, LookupNeedsTheLineAndTheIndex)
{
    std::string rootPath = project + "index", projectRoot = project;
    EXPECT_FALSE(DiskCache::lookup(rootPath, projectRoot));  // no Cache.config
    EXPECT_TRUE(VeldaTest::exists(root + "Cache"));

    // Line 1: another project; line 2: this one but its index is gone;
    // line 3: a line too long to ever match; line 5: this one again.
    const std::string longLine(250, 'x');
    writeTextFile(root + "Cache/Cache.config",
                  "http://other/pars=index\n" + rootPath + "\n" + longLine + "\n" + rootPath + "\n");
    EXPECT_EQ(DiskCache::countLines(root + "Cache/Cache.config"), 5);  // the long line counts twice
    Platform::makeDirectories(root + "Cache/cache_5");
    writeTextFile(root + "Cache/cache_5/index", "x");
    ASSERT_TRUE(DiskCache::lookup(rootPath, projectRoot));
    EXPECT_EQ(rootPath, "file://" + root + "Cache/cache_5/index");
    EXPECT_EQ(projectRoot, "file://" + root + "Cache/cache_5/");  // three slashes, not four

    // A folder on this disk is read where it lies, even with a line of its
    // own from an older run: a folder packed again is never shown stale.
    const std::string folder = "file:///home/u/projects/house/";
    writeTextFile(root + "Cache/Cache.config", folder + "index\n");
    Platform::makeDirectories(root + "Cache/cache_1");
    writeTextFile(root + "Cache/cache_1/index", "x");
    std::string folderIndex = folder + "index", folderRoot = folder;
    EXPECT_FALSE(DiskCache::lookup(folderIndex, folderRoot));
    EXPECT_EQ(folderIndex, folder + "index");
}

TEST_F(DiskCacheTest, StoresWholeRemoteFilesUnderTheirNames)
{
    Platform::makeDirectories(root + "Cache");
    DiskCache::store(project + "index", "IDX", 3);  // starts folder 1
    DiskCache::store(project + "3.mt", "MT", 2);
    DiskCache::store(project + "texs%2Fa%20b.jpg", "JPG", 3);
    DiskCache::store(project + "texs%2F%E6%B0%B4.png", "", 0);  // written also when empty
    DiskCache::store("file:///x/SkyResources/img/water.jpg", "S", 1);
    DiskCache::store("file://" + root + "Cache/cache_1/4.me", "C", 1);
    DiskCache::store(project + "texs%2F..%2F..%2Fescape.jpg", "E", 1);
    DiskCache::store("http://127.0.0.1:9/plain/7.me", "P", 1);  // a project folder addressed directly
    DiskCache::store("file:///home/u/house/2.me", "F", 1);       // a folder on this disk: read in place
    DiskCache::storeFailed("file:///home/u/house/3.me");
    DiskCache::storeFailed("file:///x/SkyResources/img/water.jpg");  // not part of the project
    EXPECT_TRUE(DiskCache::folderComplete());
    DiskCache::storeFailed(project + "texs%2Fb.jpg");
    EXPECT_FALSE(DiskCache::folderComplete());

    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/index"), "IDX");
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/3.mt"), "MT");
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/texs/a b.jpg"), "JPG");
    // Only real names: no escape, no failed file, no temporary file left.
    EXPECT_EQ(VeldaTest::filesBelow(root), (std::set<std::string>{"Cache/cache_1/index", "Cache/cache_1/3.mt",
                                                                  "Cache/cache_1/texs/a b.jpg", "Cache/cache_1/7.me",
                                                                  "Cache/cache_1/texs/水.png"}));

    // The line is committed later; the next index starts folder 2, whole again.
    ASSERT_TRUE(DiskCache::commit(root, project + "index\n"));
    DiskCache::store(project + "index", "NEW", 3);
    EXPECT_TRUE(DiskCache::folderComplete());
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_2/index"), "NEW");
    EXPECT_TRUE(VeldaTest::exists(root + "Cache/cache_2/texs"));
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/Cache.config"), project + "index\n");
    EXPECT_FALSE(DiskCache::commit(dir.path() + "/missing/", "line\n"));
}

// Releasing the asset manager while the worker is inside a transfer: the
// worker is stopped and joined before any asset goes (under the sanitizers
// any touch of freed memory is reported), and the file of the abandoned
// transfer is never written under its name in the cache.
TEST(WorkerStop, ReleasingTheManagerDuringATransferIsSafe)
{
    VeldaTest::TempDir dir;
    const std::string appData = dir.path() + "/Qem Files/";
    // A folder being filled, so that a store would succeed if one happened.
    Platform::makeDirectories(appData + "Cache/cache_1/texs");
    DiskCache::setRoot(appData);
    // Every file is a megabyte that trickles out 16 bytes at a time.
    std::atomic<int> chunks{0};
    VeldaTest::LocalServer server;
    server.http.Get("/project/file.action", [&chunks](const httplib::Request&, httplib::Response& res) {
        res.set_content_provider(1 << 20, "application/octet-stream",
                                 [&chunks](size_t, size_t, httplib::DataSink& sink) {
                                     std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                     const bool sent = sink.write("0123456789abcdef", 16);
                                     chunks += sent;
                                     return sent;
                                 });
    });
    server.start();

    for (int round = 1; round <= 10; ++round) {
        SCOPED_TRACE(round);
        const std::string name = std::to_string(round) + ".me";
        const int before = chunks;
        AssetManager* manager = new AssetManager();
        manager->setBaseFolder(appData);
        ASSERT_NE(manager->load(server.url() + "/project/file.action?id=7&pars=" + name, Callback()), nullptr);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (chunks < before + 2 && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_GE(chunks, before + 2) << "the transfer never started";

        delete manager;  // in the middle of the megabyte

        EXPECT_TRUE(JobManager::instance().idle());
        EXPECT_FALSE(VeldaTest::exists(appData + "Cache/cache_1/" + name));
        EXPECT_TRUE(VeldaTest::filesBelow(appData + "Cache").empty());  // no temporary file either
    }
    DiskCache::setRoot(std::string());
}
