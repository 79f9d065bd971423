#pragma once

#include <cstdint>
#include <string>

struct sockaddr_un;

namespace VeldaClient {

// The companion client's message socket for a window handle:
// $XDG_RUNTIME_DIR (or /tmp) + "/qem-client-<handle>.sock".
std::string clientSocketPath(int32_t handle);

// The address of that socket; false when the path does not fit in it.
bool clientSocketAddress(int32_t handle, sockaddr_un& address);

// Posts one message to the client as a datagram holding the three numbers
// as text ("5069 5 0"). A zero handle or an absent socket fails silently
// (false), as a window message to a vanished window does.
bool postClientMessage(int32_t handle, uint32_t message, int64_t first, int64_t second);

} // namespace VeldaClient
