#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace VeldaService {

// Runs a task on a thread of its own at a fixed interval, until the object
// goes; the destructor wakes and joins the thread.
class PeriodicTask {
public:
    PeriodicTask(std::chrono::milliseconds interval, std::function<void()> task);
    ~PeriodicTask();
    PeriodicTask(const PeriodicTask&) = delete;
    PeriodicTask& operator=(const PeriodicTask&) = delete;

private:
    std::chrono::milliseconds interval_;
    std::function<void()> task_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    std::thread thread_;
};

} // namespace VeldaService
