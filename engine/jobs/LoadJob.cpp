#include "jobs/LoadJob.h"

#include "assets/DiskCache.h"
#include "jobs/HttpTransfer.h"

#include <cstdlib>

namespace Velda {

LoadJob::LoadJob(const std::string& url) : url_(url) {}

LoadJob::~LoadJob()
{
    dropFetchedBytes();
}

void LoadJob::dropFetchedBytes()
{
    if (data_) {
        if (data_->ownsBytes)
            std::free(data_->pointer);
        delete data_;
        data_ = nullptr;
    }
}

void LoadJob::run()
{
    if (url_.empty())
        return;
    const MemoryBlock block = httpFetch(url_);
    dropFetchedBytes();
    data_ = new JobData{block.bytes, block.size, true};
    DiskCache::store(url_, block.bytes, block.size);
    finished_ = true;
}

void LoadJob::finish()
{
    // Last added first; the size is asked anew, so a callback may add more.
    // A callback is removed only after it returned.
    while (!callbacks_.empty()) {
        const size_t last = callbacks_.size() - 1;
        Callback callback = callbacks_[last];
        callback(this);
        callbacks_.erase(callbacks_.begin() + static_cast<long>(last));
    }
}

void LoadJob::addCallback(const Callback& callback)
{
    if (callback)
        callbacks_.push_back(callback);
}

} // namespace Velda
