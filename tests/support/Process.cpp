#include "Process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace VeldaTest {

namespace {
struct Pipe {
    int fd[2] = {-1, -1};
    Pipe()
    {
        if (pipe2(fd, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe failed");
    }
    ~Pipe()
    {
        for (int f : fd)
            if (f >= 0)
                close(f);
    }
    void closeEnd(int i)
    {
        close(fd[i]);
        fd[i] = -1;
    }
};
} // namespace

ProcessResult runProcess(const std::vector<std::string>& args, const std::string& input)
{
    Pipe out, err, in;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out.fd[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err.fd[1], 2);
    if (!input.empty())
        posix_spawn_file_actions_adddup2(&actions, in.fd[0], 0);
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
        throw std::runtime_error("cannot start " + args[0]);
    out.closeEnd(1);
    err.closeEnd(1);
    in.closeEnd(0);
    if (!input.empty() && write(in.fd[1], input.data(), input.size()) != static_cast<ssize_t>(input.size()))
        throw std::runtime_error("cannot give input to " + args[0]);
    in.closeEnd(1);

    ProcessResult result;
    pollfd fds[2] = {{out.fd[0], POLLIN, 0}, {err.fd[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            char buffer[65536];
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(n));
            } else {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exited = WIFEXITED(status);
    result.exitCode = result.exited ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& args, const std::string& errPath)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    if (!errPath.empty())
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const int rc = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out_ = fds[0];
    if (rc != 0) {
        close(out_);
        throw std::runtime_error("cannot start " + args[0]);
    }
}

BackgroundProcess::~BackgroundProcess()
{
    if (!reaped_) {
        ::kill(pid_, SIGKILL);
        wait();
    }
    if (out_ >= 0)
        close(out_);
}

bool BackgroundProcess::readLine(std::string& line, int timeoutMs)
{
    for (;;) {
        const size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return true;
        }
        pollfd fd = {out_, POLLIN, 0};
        const int ready = poll(&fd, 1, timeoutMs);
        if (ready <= 0)
            return false;
        char buffer[4096];
        const ssize_t n = read(out_, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        pending_.append(buffer, static_cast<size_t>(n));
    }
}

void BackgroundProcess::kill(int signal)
{
    if (!reaped_)
        ::kill(pid_, signal);
}

int BackgroundProcess::wait()
{
    if (!reaped_) {
        while (waitpid(pid_, &status_, 0) < 0 && errno == EINTR) {
        }
        reaped_ = true;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
}

bool BackgroundProcess::waitFor(int timeoutMs, int& code)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!reaped_) {
        const pid_t done = waitpid(pid_, &status_, WNOHANG);
        if (done == pid_) {
            reaped_ = true;
            break;
        }
        if (std::chrono::steady_clock::now() >= end)
            return false;
        usleep(10000);
    }
    code = wait();
    return true;
}

} // namespace VeldaTest
