#include "platform/Platform.h"

#include "formats/TextHelpers.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velda {
namespace Platform {

namespace {

std::string envValue(const char* name)
{
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

std::string withoutTrailingSlash(std::string s)
{
    while (s.size() > 1 && s.back() == '/')
        s.pop_back();
    return s;
}

std::string homeFolder()
{
    std::string home = envValue("HOME");
    if (!home.empty())
        return home;
    if (const passwd* pw = getpwuid(getuid()))
        if (pw->pw_dir)
            return pw->pw_dir;
    return "/tmp";
}

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

std::string appDataFolder()
{
    std::string base = envValue("APPDATA");
    if (base.empty()) {
        base = envValue("XDG_DATA_HOME");
        if (base.empty())
            base = homeFolder() + "/.local/share";
    }
    return withoutTrailingSlash(base) + "/Qem Files/";
}

std::string programFolder()
{
    char buffer[PATH_MAX + 1];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, PATH_MAX);
    if (n <= 0)
        return std::string();
    return directoryOf(std::string(buffer, static_cast<size_t>(n)));
}

bool makeDirectory(const std::string& path)
{
    if (path.empty())
        return false;
    if (::mkdir(path.c_str(), 0755) == 0)
        return true;
    return errno == EEXIST && isDirectory(path);
}

bool makeDirectories(const std::string& path)
{
    if (path.empty())
        return false;
    for (size_t pos = path.find('/', 1); pos != std::string::npos; pos = path.find('/', pos + 1)) {
        const std::string prefix = path.substr(0, pos);
        if (!isDirectory(prefix) && !makeDirectory(prefix))
            return false;
    }
    return makeDirectory(withoutTrailingSlash(path));
}

std::string ensureAppDataFolder()
{
    const std::string folder = appDataFolder();
    makeDirectories(folder);
    return folder;
}

int64_t now()
{
    return static_cast<int64_t>(std::time(nullptr));
}

std::string tempFolder()
{
    std::string t = envValue("TMPDIR");
    if (t.empty() || !isDirectory(t))
        t = "/tmp";
    return withoutTrailingSlash(t) + "/";
}

} // namespace Platform
} // namespace Velda
