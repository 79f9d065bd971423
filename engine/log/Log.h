#pragma once

#include <sstream>
#include <string>

namespace Velda {
namespace Log {

// Start-up configuration: the library reads its own switches from the
// arguments, logging is on only when argv[1] is exactly "-d", and the file is
// "myeasylog.log" in the application data folder. The folder is created in
// either case. Call once, before the first log line.
void configure(int argc, char** argv);

// True when the last configure() turned logging on.
bool enabled();

// Full path of the log file that configure() set.
std::string filePath();

// Writes one line at level info to the logger "trivial".
void write(const char* file, int line, const char* function, const std::string& text);

// Collects one line and writes it when the statement ends.
class Line {
public:
    Line(const char* file, int line, const char* function)
        : file_(file), line_(line), function_(function) {}
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line() { write(file_, line_, function_, stream_.str()); }

    template <typename T>
    Line& operator<<(const T& value)
    {
        stream_ << value;
        return *this;
    }

private:
    const char* file_;
    int line_;
    const char* function_;
    std::ostringstream stream_;
};

} // namespace Log
} // namespace Velda

// The one logging entry point: VLOG << "text" << value;
// Nothing is formatted while logging is off.
// (A one-pass for, so it is safe in an unbraced if/else.)
#define VLOG                                                                   \
    for (bool vlogOnce_ = ::Velda::Log::enabled(); vlogOnce_; vlogOnce_ = false) \
        ::Velda::Log::Line(__FILE__, __LINE__, __PRETTY_FUNCTION__)
