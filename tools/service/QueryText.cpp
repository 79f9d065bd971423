#include "QueryText.h"

#include <cerrno>
#include <climits>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <openssl/rand.h>

namespace VeldaService {

std::map<std::string, std::string> rawPairs(const std::string& text)
{
    std::map<std::string, std::string> pairs;
    size_t from = 0;
    while (from <= text.size()) {
        size_t end = text.find('&', from);
        if (end == std::string::npos)
            end = text.size();
        const std::string piece = text.substr(from, end - from);
        const size_t eq = piece.find('=');
        if (!piece.empty())
            pairs.emplace(piece.substr(0, eq), eq == std::string::npos ? std::string() : piece.substr(eq + 1));
        from = end + 1;
    }
    return pairs;
}

std::string queryOf(const std::string& target)
{
    const size_t q = target.find('?');
    return q == std::string::npos ? std::string() : target.substr(q + 1);
}

bool tailValue(const std::string& text, const std::string& key, std::string& value, std::string& before)
{
    const std::string marker = "&" + key + "=";
    size_t at = text.find(marker);
    size_t valueStart;
    if (at != std::string::npos) {
        valueStart = at + marker.size();
    } else if (text.compare(0, key.size() + 1, key + "=") == 0) {
        at = 0;
        valueStart = key.size() + 1;
    } else {
        return false;
    }
    before = text.substr(0, at);
    value = text.substr(valueStart);
    return true;
}

namespace {
int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
} // namespace

bool percentDecode(const std::string& text, std::string& out)
{
    out.clear();
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%') {
            if (i + 2 >= text.size())
                return false;
            const int high = hexDigit(text[i + 1]), low = hexDigit(text[i + 2]);
            if (high < 0 || low < 0)
                return false;
            c = static_cast<char>(high * 16 + low);
            i += 2;
        }
        if (c == '\0')
            return false;
        out += c;
    }
    return true;
}

bool parseInt(const std::string& text, int& out)
{
    if (text.empty() || text.size() > 11)
        return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (errno || *end || v < INT_MIN || v > INT_MAX || !(std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '-'))
        return false;
    out = static_cast<int>(v);
    return true;
}

std::string hexText(const unsigned char* bytes, size_t length)
{
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(2 * length);
    for (size_t i = 0; i < length; ++i) {
        out += kHex[bytes[i] >> 4];
        out += kHex[bytes[i] & 15];
    }
    return out;
}

std::string randomHex()
{
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        throw std::runtime_error("no random bytes from the system");
    return hexText(bytes, sizeof bytes);
}

} // namespace VeldaService
