#include "service/ServiceUrl.h"

#include <cstdlib>

namespace VeldaClient {

std::string serviceBaseUrl()
{
    const char* env = std::getenv("QEM_SERVICE_URL");
    std::string url = env && *env ? env : "http://127.0.0.1:18080";
    while (!url.empty() && url.back() == '/')
        url.pop_back();
    return url;
}

} // namespace VeldaClient
