#pragma once

#include "jobs/IJob.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace Velda {

// What a job fetched: malloc'd bytes and their size, or for the child of a
// bundle the root of its document and the bytes it took.
struct JobData {
    void* pointer = nullptr;
    uint32_t size = 0;
    bool ownsBytes = true;  // malloc'd bytes, freed with the pair; a document root is not
};

// A job that fetches one address. run() fetches (and stores remote files
// that arrived whole in the disk cache); finish() runs the callbacks, last
// added first. A stop of the worker during the transfer abandons it: no
// data, nothing stored, and the job runs again with the next worker.
class LoadJob : public IJob {
public:
    explicit LoadJob(const std::string& url);
    void run() override;
    void finish() override;
    ~LoadJob() override;
    // Ignores an empty function object.
    virtual void addCallback(const Callback& callback);

    const std::string& url() const { return url_; }
    bool isFinished() const { return finished_.load(); }
    bool abandoned() const override { return abandoned_.load(); }
    std::vector<Callback> callbacks() const { return callbacks_; }

protected:
    // Frees fetched bytes (not a document root) and drops the pair.
    void dropFetchedBytes();

    std::string url_;
    std::vector<Callback> callbacks_;
    JobData* data_ = nullptr;
    std::atomic<bool> finished_{false};
    std::atomic<bool> abandoned_{false};
};

} // namespace Velda
