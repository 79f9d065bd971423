#include "LocalServer.h"

#include <chrono>
#include <stdexcept>

namespace VeldaTest {

LocalServer::~LocalServer() { stop(); }

void LocalServer::start()
{
    port_ = http.bind_to_any_port("127.0.0.1");
    if (port_ <= 0)
        throw std::runtime_error("cannot bind a port on 127.0.0.1");
    thread_ = std::thread([this] { http.listen_after_bind(); });
    for (int i = 0; i < 500 && !http.is_running(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

void LocalServer::stop()
{
    if (thread_.joinable()) {
        http.stop();
        thread_.join();
    }
}

std::string LocalServer::url() const { return "http://127.0.0.1:" + std::to_string(port_); }

} // namespace VeldaTest
