#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace VeldaService {

// Keys and values of a query or form text as the viewer sends them: split
// at "&" and the first "=", never decoded. A key that stands twice keeps
// its first value.
std::map<std::string, std::string> rawPairs(const std::string& text);

// The query part of a request target ("" without "?").
std::string queryOf(const std::string& target);

// The raw value behind "&<key>=" (or "<key>=" at the very start) to the end
// of the text: form values that may themselves hold "&", "=", "+" or "%".
// `before` receives the text in front of it. False when the key is absent.
bool tailValue(const std::string& text, const std::string& key, std::string& value, std::string& before);

// Percent-decoding ("+" stays "+"); false on a broken escape or a NUL.
bool percentDecode(const std::string& text, std::string& out);

// A decimal 32-bit integer, nothing else.
bool parseInt(const std::string& text, int& out);

// 128 bits from the system's cryptographic source as 32 hexadecimal
// digits: tickets, project tokens, salts. Throws std::runtime_error when
// the source fails.
std::string randomHex();

// Lower-case hexadecimal text of bytes.
std::string hexText(const unsigned char* bytes, size_t length);

} // namespace VeldaService
