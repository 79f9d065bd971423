#pragma once

#include "GuardedServer.h"
#include "ServiceDatabase.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace VeldaService {

class PeriodicTask;

struct ServiceOptions {
    std::string dataFolder;            // holds service.db, thumbs/, uploads/
    std::string address = "127.0.0.1";
    int port = 18080;                  // 0: any free port
    std::string publicUrl;             // serveradr; default http://address:port
    size_t maxBody = 8u << 20;         // larger request bodies are refused
    int threads = 64;                  // more than guard.perClient, so one address never takes them all
    bool quiet = false;                // no line per request
    int64_t ticketLifetime = 3600;     // seconds an unconfirmed upload is kept
    GuardOptions guard;
};

// The web service of the viewer: project lookup, project files, saved-view
// records, camera scripts and thumbnails, over one SQLite database. Every
// /project/ call checks the user's sign text; bad input gets a JSON answer
// with a non-zero errorid and an errmsg. Files are served only from inside
// their folder, symbolic links resolved, and the database never.
class ProjectService {
public:
    ProjectService(const ServiceOptions& options, ServiceDatabase& database);
    ~ProjectService();

    // Binds and serves until stop(); false when the address cannot be bound.
    // `onListening` is called with the base URL once bound.
    bool run(const std::function<void(const std::string&)>& onListening);
    void stop() { server_.stop(); }

    // Drops the uploads that were not confirmed within their lifetime, and
    // every file of the upload folder as old as that.
    void expireUploads();

private:
    void routes();
    void fileRoutes();
    void savedTextRoutes();
    void thumbnailRoutes();
    std::string baseUrl() const;
    // Whether a real path is the database or one of its companion files.
    bool isDatabaseFile(const std::string& real) const;
    int64_t ticketsSince() const;

    ServiceOptions options_;
    ServiceDatabase& db_;
    GuardedServer server_;
    std::string databaseReal_;
    std::unique_ptr<PeriodicTask> sweeper_;
    int boundPort_ = 0;
};

// Lower-case hex MD5 of bytes.
std::string md5Hex(const std::string& bytes);

} // namespace VeldaService
