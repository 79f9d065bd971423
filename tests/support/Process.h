#pragma once

#include <string>
#include <vector>

namespace VeldaTest {

struct ProcessResult {
    bool exited = false;    // false: killed by a signal
    int exitCode = -1;
    int signal = 0;
    std::string out;
    std::string err;
};

// Runs a program to its end with the given arguments (args[0] is the
// program's path) and collects both output streams. `input` is its standard
// input (a small text; empty: the test's own).
ProcessResult runProcess(const std::vector<std::string>& args, const std::string& input = std::string());

// A command line as main() takes it, for parsers tested in process: the
// program's name, then `args`.
class ArgumentVector {
public:
    ArgumentVector(const std::string& program, const std::vector<std::string>& args);
    ArgumentVector(const ArgumentVector&) = delete;
    ArgumentVector& operator=(const ArgumentVector&) = delete;
    int argc() const { return static_cast<int>(pointers_.size()) - 1; }
    char** argv() { return pointers_.data(); }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
};

// A program running beside the test (a server, a listener). Its standard
// output is read line by line; standard error goes to the test's, or to the
// file `errPath`. Killed (SIGKILL) and reaped when the object goes, unless
// it ended before.
class BackgroundProcess {
public:
    explicit BackgroundProcess(const std::vector<std::string>& args, const std::string& errPath = std::string());
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    // The next line of output without its line feed; false when the program
    // closed its output or the time ran out.
    bool readLine(std::string& line, int timeoutMs = 10000);
    void kill(int signal);
    // Waits for the end; the exit code, or -signal when killed.
    int wait();
    // Waits at most `timeoutMs` for the end; false when it still runs.
    bool waitFor(int timeoutMs, int& code);
    int pid() const { return pid_; }

private:
    int pid_ = -1;
    int out_ = -1;
    std::string pending_;
    bool reaped_ = false;
    int status_ = 0;
};

} // namespace VeldaTest
