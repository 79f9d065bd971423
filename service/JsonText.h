#pragma once

#include <rapidjson/document.h>

#include <string>

namespace VeldaClient {

// String members of the service's JSON replies. A member that is absent or
// not a string reads as empty.
inline bool hasString(const rapidjson::Value& root, const char* key)
{
    return root.IsObject() && root.HasMember(key) && root[key].IsString();
}

inline std::string stringOr(const rapidjson::Value& root, const char* key)
{
    return hasString(root, key) ? std::string(root[key].GetString(), root[key].GetStringLength()) : std::string();
}

} // namespace VeldaClient
