#include "ClientSlots.h"

namespace VeldaService {

bool ClientSlots::take(const std::string& address)
{
    std::lock_guard<std::mutex> lock(mutex_);
    size_t& count = held_[address];
    if (count >= perClient_) {
        if (count == 0)
            held_.erase(address);
        return false;
    }
    ++count;
    return true;
}

void ClientSlots::release(const std::string& address)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = held_.find(address);
    if (it == held_.end())
        return;
    if (--it->second == 0)
        held_.erase(it);  // the map holds only addresses that are connected
}

size_t ClientSlots::held(const std::string& address) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = held_.find(address);
    return it == held_.end() ? 0 : it->second;
}

} // namespace VeldaService
