#include "assets/DiskCache.h"

#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"
#include "jobs/HttpTransfer.h"
#include "jobs/NumberText.h"
#include "log/Log.h"
#include "platform/Platform.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <regex>

namespace Velda {
namespace DiskCache {

namespace {

// The process-wide state of the cache: the root (GUI thread, before the
// first job) and the number of the folder being filled (worker thread).
std::mutex g_rootMutex;
std::string g_cacheRoot;
std::string g_cacheId = "1";
// Cleared by a failed file on the worker, read by the commit on the GUI
// thread (once the queues are empty).
std::atomic<bool> g_folderComplete{true};

const int kLineBuffer = 200;

bool contains(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

bool isLocal(const std::string& url)
{
    return contains(url, "Cache") || contains(url, "SkyResources") || isFileAddress(url);
}

} // namespace

void setRoot(const std::string& root)
{
    std::lock_guard<std::mutex> lock(g_rootMutex);
    g_cacheRoot = root;
}

std::string root()
{
    std::lock_guard<std::mutex> lock(g_rootMutex);
    return g_cacheRoot;
}

std::string localAddress(const std::string& absolutePath)
{
    return "file://" + absolutePath;
}

bool isFileAddress(const std::string& url)
{
    return url.compare(0, 7, "file://") == 0;
}

int countLines(const std::string& configPath)
{
    FileHandle file(std::fopen(configPath.c_str(), "r"));
    if (!file)
        return 0;
    char line[kLineBuffer];
    int count = 0;
    while (std::fgets(line, kLineBuffer, file.get()))
        ++count;
    return count;
}

bool lookup(std::string& rootPath, std::string& projectRoot)
{
    const std::string cacheRoot = root();
    // With its parents: the application data folder may not exist yet.
    if (!cacheRoot.empty())
        Platform::makeDirectories(cacheRoot + "Cache/");
    if (isFileAddress(rootPath))
        return false;
    FileHandle config(std::fopen((cacheRoot + "Cache/Cache.config").c_str(), "r"));
    if (!config)
        return false;
    const std::string wanted = rootPath + "\n";
    char line[kLineBuffer];
    for (int i = 1; std::fgets(line, kLineBuffer, config.get()); ++i) {
        const std::string folder = cacheRoot + "Cache/cache_" + numberText(static_cast<int64_t>(i));
        // The index is looked for only on a matching line.
        if (wanted == line && FileHandle(std::fopen((folder + "/index").c_str(), "r"))) {
            rootPath = localAddress(folder + "/index");
            projectRoot = localAddress(folder + "/");
            VLOG << "Cache hit : " << folder;
            return true;
        }
    }
    return false;
}

void storeFailed(const std::string& url)
{
    if (isLocal(url))
        return;
    VLOG << "Not cached, the transfer failed : " << url;
    g_folderComplete = false;
}

bool folderComplete()
{
    return g_folderComplete;
}

void store(const std::string& url, const void* bytes, size_t size)
{
    if (isLocal(url))
        return;
    const std::string cacheRoot = root();
    if (cacheRoot.empty())
        return;  // no root set: nothing is cached, rather than written below the working folder
    if (contains(url, "index")) {
        g_folderComplete = true;
        g_cacheId = numberText(static_cast<int64_t>(countLines(cacheRoot + "Cache/Cache.config") + 1));
        Platform::makeDirectory(cacheRoot + "Cache/cache_" + g_cacheId);
        Platform::makeDirectory(cacheRoot + "Cache/cache_" + g_cacheId + "/texs");
    }
    static const std::regex afterPars("pars=.+", std::regex::ECMAScript);
    std::smatch match;
    const std::string folder = cacheRoot + "Cache/cache_" + g_cacheId + "/";
    std::string relative;
    if (std::regex_search(url, match, afterPars)) {
        const std::string name = match.str().substr(5);
        if (contains(url, "texs"))
            relative = "texs/" + urlUnescape(name.size() >= 7 ? name.substr(7) : std::string());
        else
            relative = name;
    } else {
        // A project folder addressed directly: its files keep their names,
        // textures under texs/.
        const std::string path = urlUnescape(url);
        const std::string file = fileNameOf(path);
        const std::string parent = fileNameOf(path.substr(0, path.size() - file.size() - (file.size() < path.size())));
        relative = parent == "texs" ? "texs/" + file : file;
    }
    // A name from the network never leaves the cache folder.
    if (!isSafeRelativePath(relative)) {
        VLOG << "Not cached, unusable name : " << url;
        return;
    }
    writeFileAtomically(folder + relative, bytes, size);
}

bool commit(const std::string& baseFolder, const std::string& line)
{
    FileHandle config(std::fopen((baseFolder + "Cache/Cache.config").c_str(), "a+"));
    if (!config)
        return false;
    return std::fputs(line.c_str(), config.get()) >= 0;
}

} // namespace DiskCache
} // namespace Velda
