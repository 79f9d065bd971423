#pragma once

#include <cstdint>
#include <string>

namespace Velda {

// Decimal text of any signed integer width, as in "cache_<n>" and "<n>.mt".
std::string numberText(int64_t value);

// Fixed-point text of a floating-point value with the given decimals.
std::string numberText(double value, int decimals);

} // namespace Velda
