#include "assets/Asset.h"

#include "jobs/JobManager.h"

#include <regex>

namespace Velda {

Asset::Asset(const std::string& url) : LoadJob(url) {}

std::string Asset::directory()
{
    if (directoryText_.empty()) {
        static const std::regex remote(".+pars=(?=.+$)", std::regex::ECMAScript);
        static const std::regex local(".+[/\\\\](?=[^/\\\\]+$)", std::regex::ECMAScript);
        std::smatch match;
        // A project folder addressed directly has no "pars=": its siblings
        // are beside it, as for a local file.
        const bool file = url_.compare(0, 7, "file://") == 0;
        if (isRemote() && std::regex_search(url_, match, remote))
            directoryText_ = match.str();
        else if ((!isRemote() || file) && std::regex_search(url_, match, local))
            directoryText_ = match.str();
    }
    return directoryText_;
}

void Asset::load()
{
    JobManager::instance().addJob(this);
}

bool Asset::isRemote() const
{
    return url_.find("SkyResources") == std::string::npos && url_.find("Cache/") == std::string::npos &&
           url_.find("Cache\\") == std::string::npos;
}

void Asset::setJobData(JobData* data)
{
    dropFetchedBytes();
    data_ = data;
}

Asset* Asset::fromCallbackArgument(void* argument)
{
    return static_cast<Asset*>(static_cast<LoadJob*>(argument));
}

} // namespace Velda
