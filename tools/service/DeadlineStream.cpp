#include "DeadlineStream.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace VeldaService {

namespace {

bool waitFor(int socket, short events, int milliseconds)
{
    pollfd p{socket, events, 0};
    for (;;) {
        const int n = ::poll(&p, 1, milliseconds);
        if (n < 0 && errno == EINTR)
            continue;
        return n > 0 && (p.revents & (events | POLLHUP | POLLERR));
    }
}

} // namespace

bool socketAddress(int socket, bool peer, std::string& ip, int& port)
{
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    const int rc = peer ? ::getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length)
                        : ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    if (rc != 0)
        return false;
    char text[INET6_ADDRSTRLEN] = {0};
    if (address.ss_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
        ::inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
        port = ntohs(v4->sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
        ::inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
        port = ntohs(v6->sin6_port);
    } else {
        return false;
    }
    ip = text;
    return true;
}

DeadlineStream::DeadlineStream(int socket, std::chrono::milliseconds readTimeout, std::chrono::milliseconds writeTimeout)
    : socket_(socket), readTimeout_(readTimeout), writeTimeout_(writeTimeout)
{
}

bool DeadlineStream::waitReadable() const
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
    if (left.count() <= 0)
        return false;
    return waitFor(socket_, POLLIN, static_cast<int>(std::min(left, readTimeout_).count()));
}

bool DeadlineStream::is_readable() const
{
    return hasBuffered() || waitReadable();
}

bool DeadlineStream::is_writable() const
{
    return waitFor(socket_, POLLOUT, static_cast<int>(writeTimeout_.count()));
}

ssize_t DeadlineStream::read(char* ptr, size_t size)
{
    if (hasBuffered()) {
        const size_t n = std::min(size, filled_ - offset_);
        std::memcpy(ptr, buffer_ + offset_, n);
        offset_ += n;
        return static_cast<ssize_t>(n);
    }
    if (!waitReadable())
        return -1;
    for (;;) {
        ssize_t n;
        if (size < sizeof buffer_) {
            n = ::recv(socket_, buffer_, sizeof buffer_, 0);
            if (n > 0) {
                const size_t given = std::min(size, static_cast<size_t>(n));
                std::memcpy(ptr, buffer_, given);
                offset_ = given;
                filled_ = static_cast<size_t>(n);
                return static_cast<ssize_t>(given);
            }
        } else {
            n = ::recv(socket_, ptr, size, 0);
        }
        if (n < 0 && errno == EINTR)
            continue;
        return n;
    }
}

ssize_t DeadlineStream::write(const char* ptr, size_t size)
{
    if (!is_writable())
        return -1;
    for (;;) {
        const ssize_t n = ::send(socket_, ptr, size, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        return n;
    }
}

void DeadlineStream::get_remote_ip_and_port(std::string& ip, int& port) const
{
    socketAddress(socket_, true, ip, port);
}

void DeadlineStream::get_local_ip_and_port(std::string& ip, int& port) const
{
    socketAddress(socket_, false, ip, port);
}

} // namespace VeldaService
