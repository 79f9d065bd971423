#pragma once

#include <httplib.h>

#include <chrono>
#include <string>

namespace VeldaService {

// A connection's socket as the HTTP library reads and writes it, with one
// difference: reading stops at a deadline, so a client that sends its
// request a byte at a time cannot hold a worker beyond it.
class DeadlineStream : public httplib::Stream {
public:
    using Clock = std::chrono::steady_clock;

    DeadlineStream(int socket, std::chrono::milliseconds readTimeout, std::chrono::milliseconds writeTimeout);

    // Reads after this moment fail; set once per request, before its head.
    void setDeadline(Clock::time_point deadline) { deadline_ = deadline; }
    // Whether bytes of a next request are already buffered.
    bool hasBuffered() const { return offset_ < filled_; }

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* ptr, size_t size) override;
    ssize_t write(const char* ptr, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    int socket() const override { return socket_; }

private:
    // Waits for input up to the read timeout, never past the deadline.
    bool waitReadable() const;

    int socket_;
    std::chrono::milliseconds readTimeout_, writeTimeout_;
    Clock::time_point deadline_ = Clock::time_point::max();
    // The library reads a request head one byte at a time.
    char buffer_[4096];
    size_t offset_ = 0, filled_ = 0;
};

// The numeric address and port of a socket's peer (or of its own end).
bool socketAddress(int socket, bool peer, std::string& ip, int& port);

} // namespace VeldaService
