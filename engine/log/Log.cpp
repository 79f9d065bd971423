#include "log/Log.h"

#include "platform/Platform.h"

#include <atomic>
#include <cstring>

#include <easylogging++.h>

INITIALIZE_EASYLOGGINGPP

namespace Velda {
namespace Log {

namespace {
std::atomic<bool> g_enabled{false};
std::string g_filePath;
} // namespace

void configure(int argc, char** argv)
{
    el::Helpers::setArgs(argc, argv);

    el::Configurations conf;
    const bool on = argc > 1 && argv[1] != nullptr && std::strcmp(argv[1], "-d") == 0;
    conf.setGlobally(el::ConfigurationType::Enabled, on ? "true" : "false");

    // The folder is guaranteed whether logging is on or not: the disk cache
    // below it depends on it. The library cannot open a folder as a file, so
    // its default file name is put behind the folder.
    const std::string folder = Platform::ensureAppDataFolder();
    g_filePath = folder + "myeasylog.log";
    // A run without "-d" leaves no file behind, not even an empty one. Both
    // values are always set: the library merges a new configuration into
    // the old one.
    conf.setGlobally(el::ConfigurationType::Filename, on ? g_filePath : std::string("/dev/null"));
    conf.setGlobally(el::ConfigurationType::ToFile, on ? "true" : "false");

    el::Loggers::setDefaultConfigurations(conf, true);
    g_enabled.store(on);
}

bool enabled()
{
    return g_enabled.load(std::memory_order_relaxed);
}

std::string filePath()
{
    return g_filePath;
}

void write(const char* file, int line, const char* function, const std::string& text)
{
    if (!enabled())
        return;
    el::base::Writer(el::Level::Info, file, static_cast<el::base::type::LineNumber>(line), function)
            .construct(1, "trivial")
        << text;
}

} // namespace Log
} // namespace Velda
