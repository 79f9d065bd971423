#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;

namespace VeldaService {

struct ProjectRow {
    int id = 0;
    std::string projectname, groupname, groupid, uploader, uploaderqemid, uploadtime;
    std::string folder;  // absolute path of the packed project
    std::string token;   // capability in the file addresses
};

// The service's one SQLite database. Every thread gets a connection of its
// own (write-ahead log, so readers never wait for a writer); every write is
// one transaction, so a crash loses no answered save and tears none.
class ServiceDatabase {
public:
    explicit ServiceDatabase(const std::string& path);
    ~ServiceDatabase();
    ServiceDatabase(const ServiceDatabase&) = delete;
    ServiceDatabase& operator=(const ServiceDatabase&) = delete;

    // Creates the tables; throws std::runtime_error with SQLite's text.
    void createSchema();

    // The sign text is stored as a salted hash, never as it is.
    void upsertUser(int qemid, const std::string& name, const std::string& sign);
    // Whether the user exists and `sign` is his sign text.
    bool checkSign(int qemid, const std::string& sign);

    // Keeps the token of a project that exists already.
    void upsertProject(ProjectRow row);
    bool project(int id, ProjectRow& row);

    // The current record and, in the same transaction, its history entry.
    // The history keeps the newest saves of each project, at most
    // kHistoryKept of them and at most historyBytes() bytes (the newest one
    // always).
    void saveRecord(int projectid, int qemid, const std::string& record);
    bool record(int projectid, std::string& record);

    void saveCameras(int projectid, int qemid, const std::string& script);
    bool cameras(int projectid, std::string& script);

    void createUpload(const std::string& ticket, int projectid, int qemid, const std::string& md5);
    // The upload's project and the MD5 that was announced for it; tickets
    // made before `notBefore` (seconds since the epoch) count as gone.
    bool upload(const std::string& ticket, int64_t notBefore, int& projectid, std::string& md5);
    void markReceived(const std::string& ticket);
    // The newest received upload of a project with this MD5, made at
    // `notBefore` or later.
    bool receivedUpload(int projectid, const std::string& md5, int64_t notBefore, std::string& ticket);
    // Drops the uploads made before `notBefore`; their tickets.
    std::vector<std::string> expireUploads(int64_t notBefore);
    void finishUpload(const std::string& ticket, int projectid, const std::string& path, const std::string& md5);
    bool thumbnail(int projectid, const std::string& path);

    static const int kHistoryKept = 500;
    static const int64_t kHistoryBytes = 16 << 20;
    void setHistoryBytes(int64_t bytes) { historyBytes_ = bytes; }
    int64_t historyBytes() const { return historyBytes_; }

private:
    sqlite3* connection();
    // The first column of the row that one integer key selects.
    bool textOf(const char* sql, int key, std::string& out);

    std::string path_;
    int64_t historyBytes_ = kHistoryBytes;
    struct Connections;
    std::unique_ptr<Connections> connections_;
};

} // namespace VeldaService
