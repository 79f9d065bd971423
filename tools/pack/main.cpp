// velda-pack: turns a model file (IFC through the IFC reader; glTF, OBJ,
// FBX, COLLADA, 3DS, PLY, STL and the importer's other formats) into a
// project folder the viewer streams: index, props, <n>.mt, <n>.me and
// texs/. "velda-pack synth" generates a city instead, for scale tests.
#include "ModelReader.h"
#include "PackError.h"
#include "ProjectWriter.h"
#include "SynthCity.h"

#include <cerrno>
#include <climits>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const char* const kUsage =
    "usage: velda-pack MODEL OUTPUT [--up y|z] [--bundle-bytes N] [--report]\n"
    "       velda-pack synth OUTPUT [--buildings N | --objects N] [--detail N] [--seed N] [--bundle-bytes N] [--report]\n"
    "  OUTPUT is a project folder that must not exist yet.\n"
    "  --up: the source's up axis (default: y, but z for STL and PLY); the project is +z up.\n"
    "  --bundle-bytes: uncompressed size cap of one bundle (default 4194304).\n"
    "  --memory-limit MB: address space the packer may use (default: half the memory).\n"
    "  --time-limit S: seconds the model may take to read before the packer gives up (default 1800).\n"
    "  IFC: --spaces draws IfcSpace; --max-ifc-mb N refuses larger files (default 2048);\n"
    "       --jobs N geometry workers (default: one a core).\n"
    "  --progress: lines \"progress SHARE STEP\" on the standard output as packing goes\n"
    "       (SHARE 0 to 1; STEP read, shapes or write), for a program that shows a bar.\n";

bool number(const std::string& text, unsigned long long& out)
{
    if (text.empty() || text[0] == '-')
        return false;
    char* end = nullptr;
    errno = 0;
    out = std::strtoull(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0';
}

// A file that claims billions of vertices must fail fast instead of
// driving the machine into swap: the address space is capped at half the
// memory (never below 2 GiB). Sanitizer builds reserve vast address space
// for their own use and go without the cap.
void limitMemory(unsigned long long megabytes)
{
#if !defined(__SANITIZE_ADDRESS__)
    if (megabytes == 0) {
        const unsigned long long physical =
            static_cast<unsigned long long>(sysconf(_SC_PHYS_PAGES)) * static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
        megabytes = std::max(2048ull, physical / 2 / (1024 * 1024));
    }
    const rlim_t bytes = static_cast<rlim_t>(megabytes) * 1024 * 1024;
    rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_AS, &limit);
#else
    (void)megabytes;
#endif
}

int fail(std::string why)
{
    std::replace(why.begin(), why.end(), '\n', ' ');  // readers' messages may run over lines
    std::replace(why.begin(), why.end(), '\r', ' ');
    std::cerr << "velda-pack: " << why << "\n";
    return 1;
}

// Ends the process when reading takes longer than its limit: hostile input
// may keep a reader busy without end, and a reader cannot be stopped from
// outside. The geometry workers die with the packer.
class TimeLimit {
public:
    TimeLimit(unsigned long long seconds, std::string source)
        : source_(std::move(source)), seconds_(seconds), thread_([this] { watch(); }) {}
    ~TimeLimit()
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        thread_.join();
    }

private:
    void watch()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (wake_.wait_for(lock, std::chrono::seconds(seconds_), [this] { return done_; }))
            return;
        const std::string line = "velda-pack: " + source_ + ": gave up after " + std::to_string(seconds_) +
                                 " s reading the model (--time-limit)\n";
        (void)!write(2, line.data(), line.size());
        _exit(1);
    }

    std::string source_;
    unsigned long long seconds_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

// "progress 0.420 shapes" lines, at most one a hundredth of the whole (and
// each new step), flushed at once: another program draws a bar from them.
VeldaPack::PackProgress progressLines()
{
    auto last = std::make_shared<std::pair<double, std::string>>(-1.0, std::string());
    return VeldaPack::PackProgress([last](double share, const char* step) {
        if (last->second == step && share < last->first + 0.01 && !(share >= 1.0 && last->first < 1.0))
            return;
        *last = {share, step};
        std::printf("progress %.3f %s\n", share, step);
        std::fflush(stdout);
    });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 2 && (std::string(argv[1]) == "-h" || std::string(argv[1]) == "--help")) {
        std::cout << kUsage;
        return 0;
    }
    if (argc < 3) {
        std::cerr << kUsage;
        return 2;
    }
    const bool synth = std::string(argv[1]) == "synth";
    const std::string source = argv[1], output = argv[2];
    VeldaPack::ReadOptions read;
    VeldaPack::PackOptions pack;
    VeldaPack::SynthOptions city;
    bool report = false;
    unsigned long long memoryLimit = 0, timeLimit = 1800;
    for (int i = 3; i < argc; ++i) {
        const std::string key = argv[i];
        unsigned long long value = 0;
        const bool hasValue = i + 1 < argc;
        if (key == "--report") {
            report = true;
        } else if (key == "--progress") {
            const VeldaPack::PackProgress lines = progressLines();
            read.progress = lines.part(0.0, 0.8);
            pack.progress = lines.part(0.8, 1.0);
        } else if (key == "--up" && hasValue && !synth) {
            const std::string axis = argv[++i];
            if (axis != "y" && axis != "z")
                return fail("--up takes y or z");
            read.up = axis == "y" ? VeldaPack::UpAxis::Y : VeldaPack::UpAxis::Z;
        } else if (key == "--bundle-bytes" && hasValue && number(argv[++i], value) && value >= 4096) {
            pack.bundleBytes = read.bundleBytes = value;
        } else if (synth && (key == "--buildings" || key == "--objects") && hasValue && number(argv[++i], value) &&
                   value >= 1 && value <= 10000000) {
            city.buildings = static_cast<uint32_t>(key == "--objects" ? std::max(1ull, (value - 2 + 1) / 2) : value);
        } else if (key == "--memory-limit" && hasValue && number(argv[++i], value) && value >= 256) {
            memoryLimit = value;
        } else if (key == "--time-limit" && hasValue && number(argv[++i], value) && value >= 1) {
            timeLimit = value;
        } else if (!synth && key == "--spaces") {
            read.spaces = true;
        } else if (!synth && key == "--max-ifc-mb" && hasValue && number(argv[++i], value) && value >= 1 &&
                   value <= (1ull << 30)) {
            read.maxIfcBytes = value << 20;
        } else if (!synth && key == "--jobs" && hasValue && number(argv[++i], value) && value >= 1 && value <= 64) {
            read.processes = static_cast<unsigned>(value);
        } else if (synth && key == "--detail" && hasValue && number(argv[++i], value) && value >= 1 && value <= 64) {
            city.detail = static_cast<uint32_t>(value);
        } else if (synth && key == "--seed" && hasValue && number(argv[++i], value)) {
            city.seed = static_cast<uint32_t>(value);
        } else {
            std::cerr << "velda-pack: bad option " << key << "\n" << kUsage;
            return 2;
        }
    }
    limitMemory(memoryLimit);
    try {
        VeldaPack::PackScene scene;
        {
            TimeLimit limit(timeLimit, source);
            scene = synth ? VeldaPack::synthCity(city) : VeldaPack::readModel(source, read);
        }
        const VeldaPack::PackReport result = VeldaPack::ProjectWriter::write(scene, output, pack);
        if (report)
            std::cout << "velda-pack: " << output << ": " << result.line() << "\n";
    } catch (const VeldaPack::PackError& e) {
        return fail(e.what());
    } catch (const std::bad_alloc&) {
        return fail(source + ": out of memory reading the model (see --memory-limit)");
    } catch (const std::exception& e) {
        return fail(std::string("failed: ") + e.what());
    }
    return 0;
}
