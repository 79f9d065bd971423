#pragma once

#include <string>

namespace VeldaClient {

// The web service's base address (scheme, host, port): $QEM_SERVICE_URL,
// else http://127.0.0.1:18080. No trailing "/".
std::string serviceBaseUrl();

} // namespace VeldaClient
