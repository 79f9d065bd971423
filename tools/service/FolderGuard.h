#pragma once

#include <string>

namespace VeldaService {

// Files below one folder, and nothing else: a name is resolved to its real
// path, symbolic links included, and must stay inside the folder's real
// path. A link that stays inside may be followed.
class FolderGuard {
public:
    explicit FolderGuard(const std::string& folder);

    // The real path of the regular file `relative` names below the folder;
    // false when there is none, or when it lies outside.
    bool resolve(const std::string& relative, std::string& real) const;

    // Whether the real path `path` lies inside the real folder `folder`.
    static bool inside(const std::string& path, const std::string& folder);
    // The real path ("" when it does not exist).
    static std::string realPath(const std::string& path);

private:
    std::string folder_;
};

} // namespace VeldaService
