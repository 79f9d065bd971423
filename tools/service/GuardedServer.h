#pragma once

#include "ClientSlots.h"

#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <string>

namespace VeldaService {

struct GuardOptions {
    size_t perClient = 32;                              // open connections of one address
    std::chrono::milliseconds requestDeadline{10000};   // to read one request's head and body
    std::chrono::milliseconds keepAlive{2000};          // idle wait for a connection's next request
    std::chrono::milliseconds readTimeout{5000};        // one read, within the deadline
    std::chrono::milliseconds writeTimeout{10000};      // one write of an answer
    size_t callsPerConnection = 1000;
};

// The HTTP server with the guards a public service needs: a bound on
// connections per client address, a deadline for a request's head and body,
// a listen queue as long as the system allows, and a port that a second
// server cannot share.
class GuardedServer : public httplib::Server {
public:
    explicit GuardedServer(const GuardOptions& options);

    // Binds; the port (the chosen one for port 0), or -1.
    int bind(const std::string& host, int port);
    // Whether another socket listens on the address and port already.
    static bool portInUse(const std::string& host, int port);

private:
    bool process_and_close_socket(int socket) override;
    // Waits for the first byte of a next request; false on idle or stop.
    bool awaitRequest(int socket) const;

    GuardOptions options_;
    ClientSlots slots_;
    int listenSocket_ = -1;
};

} // namespace VeldaService
