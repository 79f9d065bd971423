#pragma once

#include "jobs/IJob.h"

#include <atomic>
#include <pthread.h>
#include <vector>

namespace Velda {

// One worker thread over two first-in-first-out queues. The worker runs
// `run` of each pending job in order of arrival; the GUI thread hands one
// finished job at a time to its `finish` through finishOne(). Jobs are not
// owned here.
class JobManager {
public:
    // Created on first use, from the GUI thread; lives to the end of the process.
    static JobManager& instance();
    virtual ~JobManager();

    void addJob(IJob* job);
    void removeJob(IJob* job);
    // Empties both queues; safe while the worker is idle.
    void clearJobs();
    // Stops the worker at a safe point and waits for it to end: the running
    // job sees stopRequested() (a transfer in curl's progress callback),
    // finishes or abandons its work, and an abandoned job stays at the front
    // of the queue. Once this returns no job runs, so jobs may be deleted.
    // The next addJob starts a new worker. Also run at the program's exit.
    void stopWorker();
    // True while a stop is under way; jobs read it at their safe points.
    static const std::atomic<bool>& stopRequested();
    // Calls finish() of the job at the front of the finished queue, if any,
    // and then removes it. The lock is held around the queue accesses, never
    // during finish(), which may add jobs. If finish() throws, the job stays
    // at the front.
    void finishOne();
    // Hands finished jobs to their finish() in order until `budgetMs` of
    // wall time is spent or none is left; at least one if there is one.
    // Returns how many finished.
    int finishFor(double budgetMs);

    // With a limit, the worker waits before its next job while that many
    // finished jobs wait for their finish(): what it parsed ahead of the
    // GUI thread stays bounded. 0 (the default): no limit.
    void setFinishedLimit(size_t limit);

    // Snapshots, taken under the lock.
    std::vector<IJob*> pendingJobs();
    std::vector<IJob*> finishedJobs();
    // Nothing queued, running or waiting for its finish.
    bool idle();

    // The text of a failed thread creation: the fixed message advanced by
    // the error code as a count of characters (the code is not printed).
    static const char* threadErrorText(int code);

private:
    JobManager();
    JobManager(const JobManager&) = delete;
    JobManager& operator=(const JobManager&) = delete;

    void startWorker();
    static void* workerEntry(void* self);
    void workerLoop();

    std::vector<IJob*> pendingJobs_;
    std::vector<IJob*> finishedJobs_;
    pthread_t thread_{};
    bool workerRunning_ = false;
    bool stopping_ = false;  // under mutex_; the worker leaves its loop
    size_t finishedLimit_ = 0;  // under mutex_
    pthread_mutex_t mutex_;
    pthread_cond_t condition_;
};

} // namespace Velda
