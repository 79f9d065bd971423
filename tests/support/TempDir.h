#pragma once

#include <set>
#include <string>

namespace VeldaTest {

// A fresh folder below the system's temp folder, removed with its content
// when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // Without a trailing separator.
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// A whole file as text ("" when it cannot be read).
std::string fileText(const std::string& path);
bool exists(const std::string& path);
// The regular files below a folder, as paths relative to it.
std::set<std::string> filesBelow(const std::string& folder);

// Sets an environment variable for a scope and restores the old value.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::string old_;
    bool hadOld_;
};

} // namespace VeldaTest
