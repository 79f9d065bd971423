#include "jobs/LoadJob.h"

#include "assets/DiskCache.h"
#include "jobs/HttpTransfer.h"
#include "jobs/JobManager.h"

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
    abandoned_ = false;
    const Download download = httpDownload(url_, &JobManager::stopRequested());
    dropFetchedBytes();
    if (download.stopped) {
        std::free(download.body.bytes);
        abandoned_ = true;
        return;
    }
    // A failed file is still handed on (it looks like an empty or broken
    // file), but never cached: it would stand for the file for ever.
    data_ = new JobData{download.body.bytes, download.body.size, true};
    if (download.whole)
        DiskCache::store(url_, download.body.bytes, download.body.size);
    else
        DiskCache::storeFailed(url_);
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
