#include "JobPump.h"

#include "jobs/JobManager.h"

#include <chrono>
#include <thread>

namespace VeldaTest {

bool pumpJobs(double seconds)
{
    Velda::JobManager& jobs = Velda::JobManager::instance();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!jobs.idle()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        jobs.finishOne();
        if (jobs.finishedJobs().empty())
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

bool waitForFinished(unsigned count, double seconds)
{
    Velda::JobManager& jobs = Velda::JobManager::instance();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (jobs.finishedJobs().size() < count) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace VeldaTest
