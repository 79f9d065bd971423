#include "FolderGuard.h"

#include <climits>
#include <cstdlib>
#include <sys/stat.h>

namespace VeldaService {

FolderGuard::FolderGuard(const std::string& folder) : folder_(folder) {}

std::string FolderGuard::realPath(const std::string& path)
{
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : std::string();
}

bool FolderGuard::inside(const std::string& path, const std::string& folder)
{
    if (folder.empty() || path.size() <= folder.size() || path.compare(0, folder.size(), folder) != 0)
        return false;
    return folder.back() == '/' || path[folder.size()] == '/';
}

bool FolderGuard::resolve(const std::string& relative, std::string& real) const
{
    const std::string folder = realPath(folder_);
    if (folder.empty() || relative.empty() || relative[0] == '/')
        return false;
    const std::string path = realPath(folder + "/" + relative);
    struct stat st;
    if (path.empty() || !inside(path, folder) || ::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return false;
    real = path;
    return true;
}

} // namespace VeldaService
