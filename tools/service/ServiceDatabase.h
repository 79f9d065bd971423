#pragma once

#include <cstdint>
#include <memory>
#include <string>

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

    void upsertUser(int qemid, const std::string& name, const std::string& sign);
    bool userSign(int qemid, std::string& sign);

    // Keeps the token of a project that exists already.
    void upsertProject(ProjectRow row);
    bool project(int id, ProjectRow& row);

    // The current record and, in the same transaction, its history entry
    // (the newest saves of each project are kept).
    void saveRecord(int projectid, int qemid, const std::string& record);
    bool record(int projectid, std::string& record);

    void saveCameras(int projectid, int qemid, const std::string& script);
    bool cameras(int projectid, std::string& script);

    void createUpload(const std::string& ticket, int projectid, int qemid, const std::string& md5);
    // The upload's project and the MD5 that was announced for it.
    bool upload(const std::string& ticket, int& projectid, std::string& md5);
    void markReceived(const std::string& ticket);
    // The newest received upload of a project with this MD5.
    bool receivedUpload(int projectid, const std::string& md5, std::string& ticket);
    void finishUpload(const std::string& ticket, int projectid, const std::string& path, const std::string& md5);
    bool thumbnail(int projectid, const std::string& path);

    static const int kHistoryKept = 500;

private:
    sqlite3* connection();
    // The first column of the row that one integer key selects.
    bool textOf(const char* sql, int key, std::string& out);

    std::string path_;
    struct Connections;
    std::unique_ptr<Connections> connections_;
};

} // namespace VeldaService
