#pragma once

#include <string>

namespace VeldaService {

// Sign texts are kept as "sha256:<salt>:<digest>": a random 128-bit salt and
// the SHA-256 of salt and text, both in hex. Never the text itself.
std::string hashSign(const std::string& sign);

// Whether `sign` is the text behind `stored`; the digests are compared in
// constant time.
bool signMatches(const std::string& stored, const std::string& sign);

// Whether a stored value is such a hash (rather than a text of old).
bool isSignHash(const std::string& stored);

// Whether two secrets are equal, compared in constant time.
bool sameSecret(const std::string& a, const std::string& b);

} // namespace VeldaService
