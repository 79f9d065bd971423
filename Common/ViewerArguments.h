#pragma once

#include <string>

namespace VeldaClient {

// The viewer's command line: "-d" first turns the log on (read by the
// logger itself), "--faithful" runs the specified path, and one FILE or
// FOLDER opens that model with no companion client. Other options are Qt's
// or the logger's; those of Qt that take a value keep it.
struct ViewerArguments {
    bool faithful = false;
    bool help = false;
    std::string model;  // empty: the companion client says which project
    std::string error;  // a command line the viewer cannot follow

    static ViewerArguments parse(int argc, char** argv);
    static const char* const kUsage;
};

} // namespace VeldaClient
