#include "Utf8Text.h"

namespace VeldaService {

namespace {

// The length of the well-formed sequence at `at`, or 0.
size_t sequenceAt(const std::string& text, size_t at)
{
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80)
        return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;  // bounds of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;  // overlong
        else if (lead == 0xED)
            high = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;  // overlong
        else if (lead == 0xF4)
            high = 0x8F;  // above U+10FFFF
    } else {
        return 0;
    }
    if (at + length > text.size())
        return 0;
    for (size_t i = 1; i < length; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[at + i]);
        if (i == 1 ? (c < low || c > high) : (c < 0x80 || c > 0xBF))
            return 0;
    }
    return length;
}

} // namespace

bool isUtf8(const std::string& text)
{
    for (size_t at = 0; at < text.size();) {
        const size_t n = sequenceAt(text, at);
        if (n == 0)
            return false;
        at += n;
    }
    return true;
}

std::string validUtf8(const std::string& text)
{
    if (isUtf8(text))
        return text;
    std::string out;
    out.reserve(text.size() + 8);
    for (size_t at = 0; at < text.size();) {
        const size_t n = sequenceAt(text, at);
        if (n == 0) {
            out += "\xEF\xBF\xBD";
            ++at;
        } else {
            out.append(text, at, n);
            at += n;
        }
    }
    return out;
}

} // namespace VeldaService
