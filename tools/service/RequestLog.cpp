#include "RequestLog.h"

namespace VeldaService {

std::string escapeForLog(const std::string& text)
{
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F || u == '\\') {
            out += "\\x";
            out += kHex[u >> 4];
            out += kHex[u & 15];
        } else {
            out += c;
        }
    }
    return out;
}

std::string requestLogLine(const std::string& method, const std::string& path, int status, size_t bytes)
{
    return escapeForLog(method) + " " + escapeForLog(path) + " " + std::to_string(status) + " " +
           std::to_string(bytes);
}

} // namespace VeldaService
