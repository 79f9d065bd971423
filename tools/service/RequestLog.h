#pragma once

#include <cstddef>
#include <string>

namespace VeldaService {

// Text for the request log with control characters, DEL and the backslash
// written as \xNN, so that what a client sends cannot break or forge a line.
std::string escapeForLog(const std::string& text);

// One line of the request log, without its line feed: method, path (never
// the query, which carries sign texts), status and the size of the answer.
std::string requestLogLine(const std::string& method, const std::string& path, int status, size_t bytes);

} // namespace VeldaService
