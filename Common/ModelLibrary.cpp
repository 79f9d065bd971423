#include "Common/ModelLibrary.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <sys/types.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace VeldaClient {

namespace {

const char kStagingPrefix[] = ".pack-";

bool processGone(pid_t pid)
{
    return pid > 0 && kill(pid, 0) != 0 && errno == ESRCH;
}

} // namespace

ModelLibrary::ModelLibrary(const std::string& appDataFolder)
    : root_(appDataFolder + "Models/" VELDA_VERSION "/")
{
}

std::string ModelLibrary::projectFolder(const std::string& key) const
{
    return root_ + key;
}

bool ModelLibrary::holds(const std::string& key) const
{
    std::error_code ec;
    return fs::is_regular_file(projectFolder(key) + "/index", ec);
}

std::string ModelLibrary::makeStaging() const
{
    std::error_code ec;
    fs::create_directories(root_, ec);
    std::string pattern = root_ + kStagingPrefix + std::to_string(getpid()) + "-XXXXXX";
    if (!mkdtemp(&pattern[0]))
        throw std::runtime_error("cannot make a folder in " + root_ + ": " + std::strerror(errno));
    return pattern;
}

std::string ModelLibrary::stagedProject(const std::string& staging)
{
    return staging + "/project";
}

bool ModelLibrary::commit(const std::string& staging, const std::string& key) const
{
    std::error_code ec;
    // rename() never replaces a folder that holds files: the first one stays.
    fs::rename(stagedProject(staging), projectFolder(key), ec);
    discard(staging);
    return holds(key);
}

void ModelLibrary::discard(const std::string& staging) const
{
    std::error_code ec;
    fs::remove_all(staging, ec);
}

void ModelLibrary::sweep() const
{
    std::error_code ec;
    for (fs::directory_iterator it(root_, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.compare(0, sizeof kStagingPrefix - 1, kStagingPrefix) != 0)
            continue;
        const pid_t owner = static_cast<pid_t>(std::atol(name.c_str() + sizeof kStagingPrefix - 1));
        if (processGone(owner))
            discard(it->path().string());
    }
}

} // namespace VeldaClient
