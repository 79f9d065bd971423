#pragma once

#include <stdexcept>
#include <string>

namespace VeldaPack {

// A failure the packer reports in one line and ends on.
class PackError : public std::runtime_error {
public:
    explicit PackError(const std::string& what) : std::runtime_error(what) {}
};

} // namespace VeldaPack
