#pragma once

#include <functional>

namespace Velda {

// A load callback: a member function bound to its object; the argument is
// the asset (or job) that finished, the result is ignored.
using Callback = std::function<void*(void*)>;

// Two halves of a job: run on the worker thread, finish on the GUI (GL)
// thread, one job at a time.
class IJob {
public:
    virtual void run() = 0;
    virtual void finish() = 0;
    virtual ~IJob() = default;
    // Whether the last run() gave up at a stop of the worker (see
    // JobManager::stopWorker) before it was done; such a job stays queued.
    virtual bool abandoned() const { return false; }
};

} // namespace Velda
