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
// program's path) and collects both output streams.
ProcessResult runProcess(const std::vector<std::string>& args);

} // namespace VeldaTest
