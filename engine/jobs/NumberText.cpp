#include "jobs/NumberText.h"

#include <cinttypes>
#include <cstdio>

namespace Velda {

std::string numberText(int64_t value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%" PRId64, value);
    return buffer;
}

std::string numberText(double value, int decimals)
{
    if (decimals < 0)
        decimals = 0;
    if (decimals > 17)
        decimals = 17;
    const int n = std::snprintf(nullptr, 0, "%.*f", decimals, value);
    if (n <= 0)
        return std::string();
    std::string text(static_cast<size_t>(n) + 1, '\0');
    std::snprintf(&text[0], text.size(), "%.*f", decimals, value);
    text.resize(static_cast<size_t>(n));
    return text;
}

} // namespace Velda
