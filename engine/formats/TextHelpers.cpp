#include "formats/TextHelpers.h"

#include <cinttypes>
#include <cstdarg>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace Velda {

namespace {

const wchar_t kReplacement = 0xFFFD;

bool isContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

void appendUtf8(std::string& out, uint32_t cp)
{
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        cp = kReplacement;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

size_t boundedLength(const std::string& text, size_t start, size_t length, size_t cap)
{
    if (start >= text.size())
        return 0;
    size_t available = std::strlen(text.c_str() + start);
    if (length == 0 || length > available)
        length = available;
    return length < cap ? length : cap;
}

std::string joinList(const std::vector<std::string>& pieces)
{
    std::string out = "[";
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (i)
            out += ",";
        out += pieces[i];
    }
    return out + "]";
}

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...)
{
    char buffer[512];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (n < 0)
        return std::string();
    return std::string(buffer, static_cast<size_t>(n) < sizeof buffer ? static_cast<size_t>(n) : sizeof buffer - 1);
}

int64_t saturatedInt64(double v)
{
    if (!(v == v))
        return 0;
    if (v >= 9.2e18)
        return INT64_MAX;
    if (v <= -9.2e18)
        return INT64_MIN;
    return static_cast<int64_t>(v);
}

} // namespace

std::wstring utf8ToWide(const char* data, size_t length)
{
    std::wstring out;
    out.reserve(length);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
    size_t i = 0;
    while (i < length) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            out += static_cast<wchar_t>(c);
            ++i;
            continue;
        }
        size_t need = 0;
        uint32_t cp = 0;
        uint32_t minimum = 0;
        if ((c & 0xE0) == 0xC0) {
            need = 1; cp = c & 0x1F; minimum = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            need = 2; cp = c & 0x0F; minimum = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            need = 3; cp = c & 0x07; minimum = 0x10000;
        } else {
            out += kReplacement;
            ++i;
            continue;
        }
        size_t k = 1;
        for (; k <= need && i + k < length && isContinuation(p[i + k]); ++k)
            cp = (cp << 6) | (p[i + k] & 0x3F);
        if (k <= need || cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            out += kReplacement;
            i += k; // skip the lead and the continuation bytes that were seen
            continue;
        }
        out += static_cast<wchar_t>(cp);
        i += need + 1;
    }
    return out;
}

std::wstring utf8ToWide(const char* text)
{
    return text ? utf8ToWide(text, std::strlen(text)) : std::wstring();
}

std::wstring utf8ToWide(const std::string& text)
{
    return utf8ToWide(text.c_str());
}

std::string wideToUtf8(const std::wstring& text)
{
    std::string out;
    out.reserve(text.size());
    for (wchar_t w : text)
        appendUtf8(out, static_cast<uint32_t>(w));
    return out;
}

std::string wideToSystem(const std::wstring& text)
{
    return wideToUtf8(std::wstring(text.c_str()));
}

std::wstring systemToWide(const std::string& text)
{
    return utf8ToWide(text.c_str());
}

std::wstring intToWide(int value)
{
    return utf8ToWide(formatted("%d", value));
}

std::wstring utf16ToWide(const char16_t* text, size_t maxUnits)
{
    std::wstring out;
    for (size_t i = 0; i < maxUnits && text[i] != 0; ++i) {
        const uint32_t u = text[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < maxUnits && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (text[i + 1] - 0xDC00));
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            out += kReplacement;
        } else {
            out += static_cast<wchar_t>(u);
        }
    }
    return out;
}

void utf8ToUtf16Field(const std::string& text, char16_t* field, size_t units)
{
    if (units == 0)
        return;
    size_t n = 0;
    for (wchar_t w : utf8ToWide(text.c_str())) {
        const uint32_t cp = static_cast<uint32_t>(w);
        const size_t need = cp >= 0x10000 ? 2 : 1;
        if (n + need > units - 1)
            break;
        if (need == 2) {
            field[n++] = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
            field[n++] = static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
        } else {
            field[n++] = static_cast<char16_t>(cp);
        }
    }
    field[n] = 0;
}

std::string floatToText(float value)
{
    if (std::fabs(value) < 0.0001f)
        return "0";
    return formatted("%.3f", static_cast<double>(value));
}

std::string toLowerAscii(const std::string& text, size_t start, size_t length)
{
    const size_t n = boundedLength(text, start, length, SIZE_MAX);
    std::string out = text.substr(start < text.size() ? start : text.size(), n);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> pieces;
    if (separator.empty()) {
        if (!text.empty())
            pieces.push_back(text);
        return pieces;
    }
    size_t from = 0;
    for (;;) {
        const size_t at = text.find(separator, from);
        if (at == std::string::npos) {
            if (from < text.size())
                pieces.push_back(text.substr(from));
            return pieces;
        }
        pieces.push_back(text.substr(from, at - from));
        from = at + separator.size();
    }
}

std::string fileNameOf(const std::string& path)
{
    const size_t cut = path.find_last_of("/\\");
    return cut == std::string::npos ? path : path.substr(cut + 1);
}

std::string directoryOf(const std::string& path)
{
    const size_t cut = path.find_last_of("/\\");
    if (cut == std::string::npos || cut == 0)
        return std::string();
    return path.substr(0, cut);
}

std::string extensionOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? std::string() : path.substr(dot + 1);
}

bool isSafeRelativePath(const std::string& name)
{
    if (name.empty() || name.find('\0') != std::string::npos)
        return false;
    size_t from = 0;
    for (;;) {
        const size_t end = name.find_first_of("/\\", from);
        const std::string part = name.substr(from, end == std::string::npos ? std::string::npos : end - from);
        if (part.empty() || part == "." || part == "..")
            return false;
        if (end == std::string::npos)
            return true;
        from = end + 1;
    }
}

bool isPlainFileName(const std::string& name)
{
    return isSafeRelativePath(name) && name.find_first_of("/\\") == std::string::npos;
}

float textToFloat(const std::string& text, size_t start, size_t length)
{
    const size_t n = boundedLength(text, start, length, 64);
    const char* s = n ? text.c_str() + start : "";
    if (n == 3 && toLowerAscii(std::string(s, 3)) == "nan")
        return 0.0f;

    size_t i = 0;
    double sign = 1.0;
    if (i < n && (s[i] == '+' || s[i] == '-')) {
        if (s[i] == '-')
            sign = -1.0;
        ++i;
    }
    while (i < n && s[i] == '0')
        ++i;

    uint64_t mantissa = 0; // wraps on absurdly long digit runs, never undefined
    uint64_t divisor = 1;
    bool afterPoint = false;
    double factor = 1.0;
    for (; i < n; ++i) {
        const char c = s[i];
        if (c >= '0' && c <= '9') {
            mantissa = mantissa * 10u + static_cast<uint64_t>(c - '0');
            if (afterPoint)
                divisor *= 10u;
        } else if (c == '.') {
            if (afterPoint)
                return 0.0f;
            afterPoint = true;
        } else if (c == 'e' || c == 'E') {
            const float exponent = textToFloat(std::string(s + i + 1, n - i - 1));
            factor = std::pow(10.0, static_cast<double>(exponent));
            break;
        } else {
            return 0.0f;
        }
    }
    if (divisor == 0)
        return 0.0f;
    return static_cast<float>(static_cast<double>(mantissa) / static_cast<double>(divisor) * sign * factor);
}

int64_t textToInt(const std::string& text)
{
    const size_t n = boundedLength(text, 0, 0, 64);
    const char* s = text.c_str();
    size_t i = 0;
    bool negative = false;
    if (i < n && (s[i] == '+' || s[i] == '-')) {
        negative = s[i] == '-';
        ++i;
    }
    while (i < n && s[i] == '0')
        ++i;
    uint64_t value = 0;
    for (; i < n; ++i) {
        if (s[i] < '0' || s[i] > '9')
            return 0;
        value = value * 10u + static_cast<uint64_t>(s[i] - '0');
    }
    return static_cast<int64_t>(negative ? (~value + 1u) : value);
}

std::string intsToListText(const std::vector<int>& values)
{
    std::vector<std::string> pieces;
    pieces.reserve(values.size());
    for (int v : values)
        pieces.push_back(formatted("%d", v));
    return joinList(pieces);
}

std::string floatsToListText(const std::vector<float>& values, int decimals)
{
    std::vector<std::string> pieces;
    pieces.reserve(values.size());
    const int places = decimals < 0 ? 0 : (decimals > 30 ? 30 : decimals);
    for (float v : values)
        pieces.push_back(std::isfinite(v) ? formatted("%.*f", places, static_cast<double>(v)) : "0");
    return joinList(pieces);
}

std::string floatsToScaledListText(const std::vector<float>& values, int decimals)
{
    std::vector<std::string> pieces;
    pieces.reserve(values.size());
    const double scale = std::pow(10.0, decimals);
    for (float v : values)
        pieces.push_back(formatted("%" PRId64, saturatedInt64(static_cast<double>(v) * scale)));
    return joinList(pieces);
}

std::string floatsToHexListText(const std::vector<float>& values)
{
    std::vector<std::string> pieces;
    pieces.reserve(values.size());
    for (float v : values) {
        const int64_t scaled = saturatedInt64(static_cast<double>(v) * 1000.0);
        if (scaled < 0)
            pieces.push_back(formatted("0%" PRIx64, static_cast<uint64_t>(0) - static_cast<uint64_t>(scaled)));
        else
            pieces.push_back(formatted("%" PRIx64, static_cast<uint64_t>(scaled)));
    }
    return joinList(pieces);
}

std::string floatsToText(const float* values, size_t count, const char* separator)
{
    std::string out;
    for (size_t i = 0; i < count; ++i) {
        if (i)
            out += separator;
        out += floatToText(values[i]);
    }
    return out;
}

std::vector<float> textToFloats(const std::string& text, const std::string& encoding)
{
    std::vector<float> values;
    for (const std::string& piece : split(text, " ")) {
        if (piece.empty())
            continue;
        if (encoding == "True")
            values.push_back(static_cast<float>(static_cast<double>(textToInt(piece)) / 1000.0));
        else if (encoding == "Fix2")
            values.push_back(static_cast<float>(static_cast<double>(textToInt(piece)) / 100.0));
        else
            values.push_back(textToFloat(piece));
    }
    return values;
}

bool textToVec3(const std::string& text, float out[3], const std::string& encoding)
{
    const std::vector<float> values = textToFloats(text, encoding);
    if (values.size() < 3)
        return false;
    for (int i = 0; i < 3; ++i)
        out[i] = values[static_cast<size_t>(i)];
    return true;
}

bool textToMatrix(const std::string& text, float out[16], bool twelve, const std::string& encoding)
{
    const std::vector<float> values = textToFloats(text, encoding);
    const size_t need = twelve ? 12 : 16;
    if (values.size() < need)
        return false;
    if (twelve) {
        for (size_t k = 0; k < 12; ++k)
            out[(k % 3) * 4 + k / 3] = values[k];
        out[12] = out[13] = out[14] = 0.0f;
        out[15] = 1.0f;
    } else {
        for (size_t k = 0; k < 16; ++k)
            out[(k % 4) * 4 + k / 4] = values[k];
    }
    return true;
}

} // namespace Velda
