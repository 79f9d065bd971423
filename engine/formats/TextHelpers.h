#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velda {

// Text conversions. "Wide" text is std::wstring; the system's narrow code page
// is UTF-8, so conversions to and from it keep UTF-8 bytes. Invalid UTF-8
// decodes to U+FFFD, as the platform converters do.

std::wstring utf8ToWide(const char* text);                  // up to the first NUL
std::wstring utf8ToWide(const char* data, size_t length);   // exactly `length` bytes
std::wstring utf8ToWide(const std::string& text);           // up to the first NUL
std::string wideToUtf8(const std::wstring& text);
std::string wideToSystem(const std::wstring& text);         // up to the first NUL
std::wstring systemToWide(const std::string& text);         // up to the first NUL

std::wstring intToWide(int value);                          // "%d"

// UTF-16 text of fixed-width fields: decoded up to the first zero unit, and
// never past `maxUnits`. Unpaired surrogates become U+FFFD.
std::wstring utf16ToWide(const char16_t* text, size_t maxUnits);
// Encodes into a field of `units` units, always zero-terminated; text that
// does not fit is cut at a whole character.
void utf8ToUtf16Field(const std::string& text, char16_t* field, size_t units);

// "0" when |value| < 0.0001, otherwise "%.3f". Used in every cache key.
std::string floatToText(float value);

// ASCII lower-case of text[start, start + length); length 0 means to the end
// (or the first NUL). Bytes outside 'A'..'Z' are copied.
std::string toLowerAscii(const std::string& text, size_t start = 0, size_t length = 0);

// Splits at each separator; empty pieces in the middle are kept, an empty
// tail is dropped.
std::vector<std::string> split(const std::string& text, const std::string& separator);

std::string fileNameOf(const std::string& path);   // behind the last '\' or '/'
std::string directoryOf(const std::string& path);  // before it; empty if none or first
std::string extensionOf(const std::string& path);  // behind the last '.'

// A name from the network that stays inside the folder it is joined to:
// relative, no NUL, and no part (between '/' or '\') empty, "." or "..".
bool isSafeRelativePath(const std::string& name);
// The same, and a single part: a plain file name.
bool isPlainFileName(const std::string& name);

// Number parser: optional sign, digits with one optional point, optional
// exponent; anything else gives 0, as does "nan". `length` 0 means to the
// end, and at most 64 characters are considered.
float textToFloat(const std::string& text, size_t start = 0, size_t length = 0);

// Optional sign and decimal digits only (at most 64 characters); anything
// else gives 0.
int64_t textToInt(const std::string& text);

// Lists as text: "[a,b,c]".
std::string intsToListText(const std::vector<int>& values);
// Floats with `decimals` places; a value that is not finite is written "0".
std::string floatsToListText(const std::vector<float>& values, int decimals);
// Floats times 10^decimals, written as 64-bit integers.
std::string floatsToScaledListText(const std::vector<float>& values, int decimals);
// Floats times 1000 in hexadecimal; a negative value is written as its
// absolute value behind a leading "0".
std::string floatsToHexListText(const std::vector<float>& values);

// Vectors and matrices: elements separated by a blank (or the given
// separator), each by floatToText. Cache keys join with "-".
std::string floatsToText(const float* values, size_t count, const char* separator = " ");

// The reverse: splits at blanks and converts each piece. With the encoding
// "True" each piece is an integer in thousandths, with "Fix2" in hundredths,
// otherwise a float for textToFloat.
std::vector<float> textToFloats(const std::string& text, const std::string& encoding = std::string());

// Takes the first three pieces; false (and `out` untouched) when fewer.
bool textToVec3(const std::string& text, float out[3], const std::string& encoding = std::string());

// Sixteen pieces, row after row (piece k to element (k%4)*4 + k/4), or with
// `twelve` four rows of three (piece k to element (k%3)*4 + k/3, elements 12
// to 14 set to 0 and 15 to 1). False (and `out` untouched) when fewer.
bool textToMatrix(const std::string& text, float out[16], bool twelve = false,
                  const std::string& encoding = std::string());

} // namespace Velda
