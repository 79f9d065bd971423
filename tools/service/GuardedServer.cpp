#include "GuardedServer.h"

#include "DeadlineStream.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace VeldaService {

namespace {

// Gives a slot back when the connection ends, whichever way.
class SlotHold {
public:
    SlotHold(ClientSlots& slots, const std::string& address)
        : slots_(slots), address_(address), held_(slots.take(address))
    {
    }
    ~SlotHold()
    {
        if (held_)
            slots_.release(address_);
    }
    SlotHold(const SlotHold&) = delete;
    SlotHold& operator=(const SlotHold&) = delete;
    explicit operator bool() const { return held_; }

private:
    ClientSlots& slots_;
    std::string address_;
    bool held_;
};

} // namespace

GuardedServer::GuardedServer(const GuardOptions& options) : options_(options), slots_(options.perClient)
{
    // The library's default shares the port with any other listener
    // (SO_REUSEPORT), so a second service would start on a port in use.
    set_socket_options([this](int socket) {
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        listenSocket_ = socket;
    });
}

int GuardedServer::bind(const std::string& host, int port)
{
    const int bound = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
    if (bound <= 0)
        return -1;
    // The library listens with a queue of 5. Under a burst of new
    // connections that queue overflows, the kernel answers with SYN cookies
    // and drops handshakes, and a request whose first segment was dropped
    // is reset. Listening again on the bound socket only lengthens the queue.
    ::listen(listenSocket_, SOMAXCONN);
    return bound;
}

bool GuardedServer::portInUse(const std::string& host, int port)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0)
        return false;
    bool inUse = false;
    for (addrinfo* a = found; a && !inUse; a = a->ai_next) {
        const int s = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
        if (s < 0)
            continue;
        const int yes = 1;
        ::setsockopt(s, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        inUse = ::bind(s, a->ai_addr, a->ai_addrlen) != 0 && errno == EADDRINUSE;
        ::close(s);
    }
    ::freeaddrinfo(found);
    return inUse;
}

bool GuardedServer::awaitRequest(int socket) const
{
    // In slices, so that a stopping server is not held up by idle clients.
    const auto until = std::chrono::steady_clock::now() + options_.keepAlive;
    while (svr_sock_ != INVALID_SOCKET) {
        pollfd p{socket, POLLIN, 0};
        const int n = ::poll(&p, 1, 50);
        if (n > 0)
            return true;
        if ((n < 0 && errno != EINTR) || std::chrono::steady_clock::now() >= until)
            return false;
    }
    return false;
}

bool GuardedServer::process_and_close_socket(int socket)
{
    std::string ip;
    int port = 0;
    socketAddress(socket, true, ip, port);
    bool served = false;
    {
        const SlotHold slot(slots_, ip);
        if (slot) {
            const int yes = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
            DeadlineStream stream(socket, options_.readTimeout, options_.writeTimeout);
            for (size_t call = 1; call <= options_.callsPerConnection; ++call) {
                if (!stream.hasBuffered() && !awaitRequest(socket))
                    break;
                stream.setDeadline(DeadlineStream::Clock::now() + options_.requestDeadline);
                bool closed = false;
                served = process_request(stream, call == options_.callsPerConnection, closed, nullptr);
                if (!served || closed)
                    break;
            }
        }
    }
    ::shutdown(socket, SHUT_RDWR);
    ::close(socket);
    return served;
}

} // namespace VeldaService
