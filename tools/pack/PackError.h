#pragma once

#include <stdexcept>
#include <string>

namespace VeldaPack {

// A failure the packer reports in one line and ends on.
class PackError : public std::runtime_error {
public:
    explicit PackError(const std::string& what) : std::runtime_error(what) {}
};

// Input refused as unsafe to read (cycles, absurd sizes, not the format at
// all): no other reader is tried on it.
class RefusedInput : public PackError {
public:
    explicit RefusedInput(const std::string& what) : PackError(what) {}
};

} // namespace VeldaPack
