#pragma once

#include "ServiceDatabase.h"

#include <httplib.h>

#include <atomic>
#include <string>

namespace VeldaService {

struct ServiceOptions {
    std::string dataFolder;            // holds service.db, thumbs/, uploads/
    std::string address = "127.0.0.1";
    int port = 18080;                  // 0: any free port
    std::string publicUrl;             // serveradr; default http://address:port
    size_t maxBody = 8u << 20;         // larger request bodies are refused
    int threads = 32;
    bool quiet = false;                // no line per request
};

// The web service of the viewer: project lookup, project files, saved-view
// records, camera scripts and thumbnails, over one SQLite database. Every
// /project/ call checks the user's sign text; bad input gets a JSON answer
// with a non-zero errorid and an errmsg.
class ProjectService {
public:
    ProjectService(const ServiceOptions& options, ServiceDatabase& database);

    // Binds and serves until stop(); false when the address cannot be bound.
    // `onListening` is called with the base URL once bound.
    bool run(const std::function<void(const std::string&)>& onListening);
    void stop() { server_.stop(); }

private:
    void routes();
    std::string baseUrl() const;

    ServiceOptions options_;
    ServiceDatabase& db_;
    httplib::Server server_;
    int boundPort_ = 0;
};

// Lower-case hex MD5 of bytes.
std::string md5Hex(const std::string& bytes);

} // namespace VeldaService
