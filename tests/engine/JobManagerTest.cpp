#include "jobs/JobManager.h"
#include "jobs/LoadJob.h"

#include "JobPump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace Velda;

namespace {

std::mutex g_logMutex;
std::vector<std::string> g_log;

void note(const std::string& s)
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_log.push_back(s);
}

std::vector<std::string> takeLog()
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    std::vector<std::string> out;
    out.swap(g_log);
    return out;
}

class NoteJob : public IJob {
public:
    explicit NoteJob(std::string name, IJob* follow = nullptr, int throwsLeft = 0)
        : name_(std::move(name)), follow_(follow), throwsLeft_(throwsLeft) {}
    void run() override { note("run " + name_); }
    void finish() override
    {
        note("finish " + name_);
        if (throwsLeft_ > 0) {
            --throwsLeft_;
            throw std::runtime_error("finish failed");
        }
        if (follow_)
            JobManager::instance().addJob(follow_);
    }

private:
    std::string name_;
    IJob* follow_;
    int throwsLeft_;
};

void pump()
{
    ASSERT_TRUE(VeldaTest::pumpJobs());
}

} // namespace

TEST(JobManager, RunsAndFinishesInArrivalOrder)
{
    JobManager& jobs = JobManager::instance();
    jobs.finishOne();  // nothing queued: nothing happens
    EXPECT_TRUE(jobs.idle());
    takeLog();

    NoteJob later("later");
    NoteJob a("a", &later), b("b"), c("c");
    jobs.addJob(&a);
    jobs.addJob(&b);
    jobs.addJob(&c);
    EXPECT_FALSE(jobs.idle());
    pump();
    const std::vector<std::string> log = takeLog();
    const std::vector<std::string> runs = {"run a", "run b", "run c"};
    std::vector<std::string> seenRuns;
    for (const std::string& s : log)
        if (s.rfind("run ", 0) == 0 && s != "run later")
            seenRuns.push_back(s);
    EXPECT_EQ(seenRuns, runs);
    // The job added inside a finish runs later, not within that finish.
    const auto finishA = std::find(log.begin(), log.end(), "finish a");
    const auto runLater = std::find(log.begin(), log.end(), "run later");
    ASSERT_NE(runLater, log.end());
    EXPECT_LT(finishA, runLater);
    EXPECT_EQ(log.back(), "finish later");
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
    const std::vector<std::string> log = takeLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), "finish stubborn"), 3);
    EXPECT_EQ(log.back(), "finish behind");
}

TEST(JobManager, WorkerStopsAndComesBack)
{
    JobManager& jobs = JobManager::instance();
    jobs.stopWorker();
    jobs.stopWorker();  // a second stop is harmless
    NoteJob again("again");
    takeLog();
    jobs.addJob(&again);
    pump();
    EXPECT_EQ(takeLog(), (std::vector<std::string>{"run again", "finish again"}));
}

TEST(JobManager, AStopAbandonsTheRunningJobWhichRunsAgainLater)
{
    // Its first run waits for the stop and gives up; the second one is done.
    class Stoppable : public IJob {
    public:
        void run() override
        {
            ++runs;
            started = true;
            abandoned_ = runs == 1;
            while (abandoned_ && !JobManager::stopRequested())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        void finish() override { ++finishes; }
        bool abandoned() const override { return abandoned_; }
        std::atomic<int> runs{0};
        int finishes = 0;
        std::atomic<bool> started{false};

    private:
        std::atomic<bool> abandoned_{false};
    };

    JobManager& jobs = JobManager::instance();
    takeLog();
    Stoppable stoppable;
    NoteJob behind("behind");
    jobs.addJob(&stoppable);
    jobs.addJob(&behind);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!stoppable.started && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_TRUE(stoppable.started);
    jobs.stopWorker();  // returns once the worker has left the job
    EXPECT_EQ(jobs.pendingJobs(), (std::vector<IJob*>{&stoppable, &behind}));
    EXPECT_TRUE(jobs.finishedJobs().empty());
    EXPECT_TRUE(takeLog().empty());

    NoteJob next("next");
    jobs.addJob(&next);  // a new worker takes the queue up where it stopped
    pump();
    EXPECT_EQ(stoppable.runs, 2);
    EXPECT_EQ(stoppable.finishes, 1);
    std::vector<std::string> log = takeLog();
    std::stable_partition(log.begin(), log.end(), [](const std::string& s) { return s.rfind("run ", 0) == 0; });
    EXPECT_EQ(log, (std::vector<std::string>{"run behind", "run next", "finish behind", "finish next"}));
}

TEST(LoadJob, CallbacksRunLastAddedFirst)
{
    LoadJob job("");
    std::vector<int> order;
    job.addCallback(Callback());  // empty: ignored
    job.addCallback([&](void* self) {
        EXPECT_EQ(self, static_cast<void*>(&job));
        order.push_back(1);
        return nullptr;
    });
    job.addCallback([&](void*) {
        order.push_back(2);
        // Added during the loop: it runs next, before the older one.
        job.addCallback([&](void*) {
            order.push_back(3);
            return nullptr;
        });
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
