#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace VeldaTest {

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "velda-test-XXXXXX").string();
    if (!mkdtemp(&pattern[0]))
        throw std::runtime_error("cannot create a temporary folder");
    path_ = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string fileText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool exists(const std::string& path)
{
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

std::set<std::string> filesBelow(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
        if (e.is_regular_file())
            names.insert(std::filesystem::relative(e.path(), folder).string());
    return names;
}

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name)
{
    const char* old = std::getenv(name);
    hadOld_ = old != nullptr;
    if (old)
        old_ = old;
    setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv()
{
    if (hadOld_)
        setenv(name_.c_str(), old_.c_str(), 1);
    else
        unsetenv(name_.c_str());
}

} // namespace VeldaTest
