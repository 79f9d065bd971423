#include "PeriodicTask.h"

namespace VeldaService {

PeriodicTask::PeriodicTask(std::chrono::milliseconds interval, std::function<void()> task)
    : interval_(interval), task_(std::move(task))
{
    thread_ = std::thread([this] {
        std::unique_lock<std::mutex> lock(mutex_);
        while (!wake_.wait_for(lock, interval_, [this] { return stop_; })) {
            lock.unlock();
            task_();
            lock.lock();
        }
    });
}

PeriodicTask::~PeriodicTask()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

} // namespace VeldaService
