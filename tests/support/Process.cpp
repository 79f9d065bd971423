#include "Process.h"

#include "TempDir.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace VeldaTest {

ArgumentVector::ArgumentVector(const std::string& program, const std::vector<std::string>& args) : strings_(args)
{
    strings_.insert(strings_.begin(), program);
    for (std::string& s : strings_)
        pointers_.push_back(&s[0]);
    pointers_.push_back(nullptr);
}

namespace {

// Starts a program with its standard output into a new pipe, whose read end
// is returned in `out`; standard error goes to `errPath` and standard input
// comes from `inPath` where they are given.
pid_t spawn(const std::vector<std::string>& args, int& out, const std::string& errPath, const std::string& inPath)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    if (!errPath.empty())
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (!inPath.empty())
        posix_spawn_file_actions_addopen(&actions, 0, inPath.c_str(), O_RDONLY, 0);
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out = fds[0];
    if (rc != 0) {
        close(out);
        throw std::runtime_error("cannot start " + args[0]);
    }
    return pid;
}

void reap(pid_t pid, int& status)
{
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

ProcessResult runProcess(const std::vector<std::string>& args, const std::string& input)
{
    // Standard error into a file, so that reading the output to its end
    // cannot stall on a full error pipe.
    const TempDir dir;
    if (!input.empty())
        std::ofstream(dir.file("in"), std::ios::binary) << input;
    int out = -1;
    const pid_t pid = spawn(args, out, dir.file("err"), input.empty() ? std::string() : dir.file("in"));
    ProcessResult result;
    char buffer[65536];
    for (ssize_t n; (n = read(out, buffer, sizeof buffer)) != 0;) {
        if (n > 0)
            result.out.append(buffer, static_cast<size_t>(n));
        else if (errno != EINTR)
            break;
    }
    close(out);
    int status = 0;
    reap(pid, status);
    result.err = fileText(dir.file("err"));
    result.exited = WIFEXITED(status);
    result.exitCode = result.exited ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& args, const std::string& errPath)
{
    pid_ = spawn(args, out_, errPath, std::string());
}

BackgroundProcess::~BackgroundProcess()
{
    kill(SIGKILL);
    wait();
    close(out_);
}

bool BackgroundProcess::readLine(std::string& line, int timeoutMs)
{
    size_t end;
    while ((end = pending_.find('\n')) == std::string::npos) {
        pollfd fd = {out_, POLLIN, 0};
        char buffer[4096];
        const ssize_t n = poll(&fd, 1, timeoutMs) > 0 ? read(out_, buffer, sizeof buffer) : -1;
        if (n <= 0)
            return false;
        pending_.append(buffer, static_cast<size_t>(n));
    }
    line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return true;
}

void BackgroundProcess::kill(int signal)
{
    if (!reaped_)
        ::kill(pid_, signal);
}

int BackgroundProcess::wait()
{
    if (!reaped_)
        reap(pid_, status_);
    reaped_ = true;
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

bool BackgroundProcess::waitFor(int timeoutMs, int& code)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!reaped_ && waitpid(pid_, &status_, WNOHANG) != pid_) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        usleep(10000);
    }
    reaped_ = true;
    code = wait();
    return true;
}

} // namespace VeldaTest
