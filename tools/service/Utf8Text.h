#pragma once

#include <string>

namespace VeldaService {

// Whether bytes are well-formed UTF-8: no stray or missing continuation
// bytes, no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(const std::string& text);

// The text with each ill-formed sequence replaced by U+FFFD, so that a
// reply built from it is valid UTF-8 whatever was stored.
std::string validUtf8(const std::string& text);

} // namespace VeldaService
