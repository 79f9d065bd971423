#include "service/ClientMessage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace VeldaClient {

std::string clientSocketPath(int32_t handle)
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string folder = runtime && *runtime ? runtime : "/tmp";
    return folder + "/qem-client-" + std::to_string(handle) + ".sock";
}

bool clientSocketAddress(int32_t handle, sockaddr_un& address)
{
    const std::string path = clientSocketPath(handle);
    address = sockaddr_un{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

bool postClientMessage(int32_t handle, uint32_t message, int64_t first, int64_t second)
{
    sockaddr_un address;
    if (handle == 0 || !clientSocketAddress(handle, address))
        return false;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    char text[96];
    const int n = std::snprintf(text, sizeof text, "%u %lld %lld", message, static_cast<long long>(first),
                                static_cast<long long>(second));
    const ssize_t sent = sendto(fd, text, static_cast<size_t>(n), MSG_DONTWAIT,
                                reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(fd);
    return sent == n;
}

} // namespace VeldaClient
