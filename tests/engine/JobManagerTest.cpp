#include "assets/AssetManager.h"
#include "assets/DiskCache.h"
#include "jobs/JobManager.h"
#include "jobs/LoadJob.h"
#include "platform/Platform.h"

#include "JobPump.h"
#include "LocalServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Velda;

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
