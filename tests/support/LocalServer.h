#pragma once

#include <httplib.h>

#include <string>
#include <thread>

namespace VeldaTest {

// A real HTTP server on 127.0.0.1 with an ephemeral port, serving from its
// own thread. Register handlers on `http` before start().
class LocalServer {
public:
    LocalServer() = default;
    ~LocalServer();
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    void start();
    void stop();
    int port() const { return port_; }
    // "http://127.0.0.1:<port>"
    std::string url() const;

    httplib::Server http;

private:
    std::thread thread_;
    int port_ = 0;
};

} // namespace VeldaTest
