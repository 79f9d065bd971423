#include "jobs/JobManager.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

namespace Velda {

namespace {

class Lock {
public:
    explicit Lock(pthread_mutex_t& m) : m_(m) { pthread_mutex_lock(&m_); }
    ~Lock() { pthread_mutex_unlock(&m_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pthread_mutex_t& m_;
};

void eraseFirst(std::vector<IJob*>& list, IJob* job)
{
    const auto it = std::find(list.begin(), list.end(), job);
    if (it != list.end())
        list.erase(it);
}

JobManager* g_instance = nullptr;
std::atomic<bool> g_stopRequested{false};

// The program may end while a transfer runs; the worker must not go on
// using what the exit tears down.
void stopAtExit()
{
    if (g_instance)
        g_instance->stopWorker();
}

} // namespace

JobManager& JobManager::instance()
{
    if (!g_instance) {
        g_instance = new JobManager();
        std::atexit(stopAtExit);
    }
    return *g_instance;
}

const std::atomic<bool>& JobManager::stopRequested()
{
    return g_stopRequested;
}

JobManager::JobManager()
{
    pthread_mutex_init(&mutex_, nullptr);
    pthread_cond_init(&condition_, nullptr);
    // The worker is handed `this`, so it never reaches for the singleton
    // before the pointer is published.
    startWorker();
}

JobManager::~JobManager()
{
    stopWorker();
    pthread_cond_destroy(&condition_);
    pthread_mutex_destroy(&mutex_);
}

void JobManager::startWorker()
{
    stopping_ = false;
    g_stopRequested = false;
    const int rc = pthread_create(&thread_, nullptr, &JobManager::workerEntry, this);
    if (rc != 0)
        throw std::runtime_error(threadErrorText(rc));
    workerRunning_ = true;
}

const char* JobManager::threadErrorText(int code)
{
    static const char kText[] = "Can not create thread, error code is : ";
    const size_t skip = code < 0 ? 0 : (static_cast<size_t>(code) < sizeof kText ? static_cast<size_t>(code) : sizeof kText - 1);
    return kText + skip;
}

void* JobManager::workerEntry(void* self)
{
    static_cast<JobManager*>(self)->workerLoop();
    return nullptr;
}

void JobManager::workerLoop()
{
    for (;;) {
        IJob* job = nullptr;
        {
            Lock lock(mutex_);
            while ((pendingJobs_.empty() || (finishedLimit_ > 0 && finishedJobs_.size() >= finishedLimit_)) &&
                   !stopping_)
                pthread_cond_wait(&condition_, &mutex_);
            if (stopping_)
                return;
            job = pendingJobs_.front();  // stays pending while it runs
        }

        job->run();

        Lock lock(mutex_);
        if (job->abandoned())
            return;  // only a stop abandons; the job waits for the next worker
        finishedJobs_.push_back(job);
        eraseFirst(pendingJobs_, job);
    }
}

void JobManager::addJob(IJob* job)
{
    Lock lock(mutex_);
    if (!workerRunning_)
        startWorker();
    pendingJobs_.push_back(job);
    pthread_cond_broadcast(&condition_);
}

void JobManager::removeJob(IJob* job)
{
    Lock lock(mutex_);
    eraseFirst(pendingJobs_, job);
    pthread_cond_broadcast(&condition_);
}

void JobManager::clearJobs()
{
    Lock lock(mutex_);
    pendingJobs_.clear();
    finishedJobs_.clear();
    pthread_cond_broadcast(&condition_);
}

void JobManager::stopWorker()
{
    pthread_t thread;
    {
        Lock lock(mutex_);
        if (!workerRunning_)
            return;
        workerRunning_ = false;
        stopping_ = true;
        g_stopRequested = true;
        thread = thread_;
        pthread_cond_broadcast(&condition_);
    }
    pthread_join(thread, nullptr);
}

void JobManager::finishOne()
{
    IJob* job = nullptr;
    {
        Lock lock(mutex_);
        if (finishedJobs_.empty())
            return;
        job = finishedJobs_.front();
    }
    job->finish();
    Lock lock(mutex_);
    eraseFirst(finishedJobs_, job);
    if (finishedLimit_ > 0)
        pthread_cond_broadcast(&condition_);  // room for the worker
}

void JobManager::setFinishedLimit(size_t limit)
{
    Lock lock(mutex_);
    finishedLimit_ = limit;
    pthread_cond_broadcast(&condition_);
}

int JobManager::finishFor(double budgetMs)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    int count = 0;
    for (;;) {
        {
            Lock lock(mutex_);
            if (finishedJobs_.empty())
                return count;
        }
        finishOne();
        ++count;
        if (std::chrono::duration<double, std::milli>(Clock::now() - start).count() >= budgetMs)
            return count;
    }
}

std::vector<IJob*> JobManager::pendingJobs()
{
    Lock lock(mutex_);
    return pendingJobs_;
}

std::vector<IJob*> JobManager::finishedJobs()
{
    Lock lock(mutex_);
    return finishedJobs_;
}

bool JobManager::idle()
{
    Lock lock(mutex_);
    return pendingJobs_.empty() && finishedJobs_.empty();
}

} // namespace Velda
