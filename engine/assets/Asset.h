#pragma once

#include "jobs/LoadJob.h"

#include <atomic>
#include <string>

namespace Velda {

class Context3d;

// A job that fetches one address and then holds what it fetched. Owned by
// AssetManager until the end of the process.
class Asset : public LoadJob {
public:
    explicit Asset(const std::string& url);
    ~Asset() override = default;

    virtual std::string path() const { return url_; }
    // Up to and including "pars=" for a remote address, up to and including
    // the last separator for a local one: where a sibling's name is appended.
    virtual std::string directory();
    virtual bool isReady() const = 0;
    // Puts the asset on the job queue; the same for every kind.
    virtual void load();
    virtual void freeData() = 0;

    // Remote unless the address holds "SkyResources", "Cache/" or "Cache\".
    bool isRemote() const;
    // Hands over a data pair (a bundle gives its children their document).
    void setJobData(JobData* data);

    // The argument a callback receives, back as the asset it stands for.
    static Asset* fromCallbackArgument(void* argument);

protected:
    std::atomic<bool> ready_{false};
    std::string directoryText_;
};

} // namespace Velda
