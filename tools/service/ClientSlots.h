#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace VeldaService {

// Open connections per client address, with a bound: one address cannot
// take every worker of the service.
class ClientSlots {
public:
    explicit ClientSlots(size_t perClient) : perClient_(perClient) {}

    // True when the address may hold one more connection; each true is
    // given back with release().
    bool take(const std::string& address);
    void release(const std::string& address);
    size_t held(const std::string& address) const;

private:
    size_t perClient_;
    mutable std::mutex mutex_;
    std::map<std::string, size_t> held_;
};

} // namespace VeldaService
