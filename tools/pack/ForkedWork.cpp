#include "ForkedWork.h"

#include "PackError.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VeldaPack {

namespace {

const unsigned kMaxChildren = 64;
const unsigned kMaxCrashes = 256;

struct Shared {
    std::atomic<uint32_t> next;
    std::atomic<int64_t> current[kMaxChildren];
};

bool writeAll(int fd, const void* data, size_t size)
{
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

[[noreturn]] void child(Shared* shared, unsigned slot, uint32_t count, int fd, const ForkedWork::Task& task)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlive the packer
    if (getppid() == 1)
        _exit(3);
    for (;;) {
        const uint32_t i = shared->next.fetch_add(1);
        if (i >= count)
            break;
        shared->current[slot] = i;
        std::string bytes;
        try {
            bytes = task(i);
        } catch (...) {
            bytes.clear();
        }
        const uint32_t head[2] = {i, static_cast<uint32_t>(bytes.size())};
        if (!writeAll(fd, head, sizeof head) || !writeAll(fd, bytes.data(), bytes.size()))
            _exit(2);
        shared->current[slot] = -1;
    }
    _exit(0);  // no destructors, no exit handlers: the parent owns everything
}

// Hands the complete records of a child's file to `receive`; a record cut
// by the child's death is dropped.
void collect(FILE* file, const ForkedWork::Receiver& receive)
{
    std::rewind(file);
    uint32_t head[2];
    std::string bytes;
    while (std::fread(head, sizeof head, 1, file) == 1) {
        bytes.resize(head[1]);
        if (head[1] && std::fread(&bytes[0], head[1], 1, file) != 1)
            break;
        receive(head[0], bytes);
    }
}

} // namespace

ForkedWork::Outcome ForkedWork::run(uint32_t count, unsigned processes, const Task& task, const Receiver& receive,
                                    const Progress& progress)
{
    Outcome outcome;
    if (count == 0)
        return outcome;
    processes = std::max(1u, std::min({processes, kMaxChildren, count}));
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw PackError(std::string("cannot share memory with the workers: ") + std::strerror(errno));
    Shared* shared = new (memory) Shared();
    shared->next = 0;
    for (auto& c : shared->current)
        c = -1;

    struct Child {
        pid_t pid = -1;
        FILE* file = nullptr;
    };
    std::vector<Child> children(processes);
    std::vector<FILE*> files;
    const auto start = [&](unsigned slot) {
        FILE* file = std::tmpfile();
        if (!file)
            throw PackError(std::string("cannot make a temporary file: ") + std::strerror(errno));
        files.push_back(file);
        std::fflush(nullptr);
        const pid_t pid = fork();
        if (pid < 0)
            throw PackError(std::string("cannot start a worker: ") + std::strerror(errno));
        if (pid == 0)
            child(shared, slot, count, fileno(file), task);
        children[slot] = {pid, file};
    };
    try {
        for (unsigned k = 0; k < processes; ++k)
            start(k);
        unsigned running = processes, crashes = 0;
        while (running > 0) {
            int status = 0;
            rusage usage{};
            // With someone to tell, the wait looks up every 100 ms.
            const pid_t pid = wait4(-1, &status, progress ? WNOHANG : 0, &usage);
            if (pid == 0) {
                progress(std::min(count, shared->next.load()));
                usleep(100000);
                continue;
            }
            if (pid < 0) {
                if (errno == EINTR)
                    continue;
                break;
            }
            outcome.childPeakKiB = std::max<uint64_t>(outcome.childPeakKiB, static_cast<uint64_t>(usage.ru_maxrss));
            unsigned slot = 0;
            while (slot < processes && children[slot].pid != pid)
                ++slot;
            if (slot == processes)
                continue;
            children[slot].pid = -1;
            --running;
            const bool clean = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            if (clean)
                continue;
            const int64_t lost = shared->current[slot].exchange(-1);
            if (lost >= 0)
                outcome.crashed.push_back(static_cast<uint32_t>(lost));
            if (++crashes > kMaxCrashes)
                throw PackError("the geometry workers died " + std::to_string(crashes) + " times");
            if (shared->next.load() < count) {  // carry on without the index that killed it
                start(slot);
                ++running;
            }
        }
    } catch (...) {
        for (const Child& c : children)
            if (c.pid > 0) {
                kill(c.pid, SIGKILL);
                waitpid(c.pid, nullptr, 0);
            }
        for (FILE* f : files)
            std::fclose(f);
        munmap(memory, sizeof(Shared));
        throw;
    }
    for (FILE* f : files) {
        collect(f, receive);
        std::fclose(f);
    }
    munmap(memory, sizeof(Shared));
    return outcome;
}

} // namespace VeldaPack
