#include "ServiceDatabase.h"

#include "QueryText.h"

#include <sqlite3.h>

#include <ctime>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

namespace VeldaService {

namespace {

void check(int rc, sqlite3* db, const char* what)
{
    if (rc != SQLITE_OK && rc != SQLITE_DONE && rc != SQLITE_ROW)
        throw std::runtime_error(std::string(what) + ": " + (db ? sqlite3_errmsg(db) : sqlite3_errstr(rc)));
}

// One prepared statement, finalised with the object.
class Statement {
public:
    Statement(sqlite3* db, const char* sql) : db_(db)
    {
        check(sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr), db, "prepare");
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int i, int v)
    {
        check(sqlite3_bind_int(statement_, i, v), db_, "bind");
        return *this;
    }
    Statement& bind(int i, int64_t v)
    {
        check(sqlite3_bind_int64(statement_, i, v), db_, "bind");
        return *this;
    }
    Statement& bind(int i, const std::string& v)
    {
        check(sqlite3_bind_text(statement_, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT), db_, "bind");
        return *this;
    }
    Statement& blob(int i, const std::string& v)
    {
        check(sqlite3_bind_blob(statement_, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT), db_,
              "bind");
        return *this;
    }
    // True while a row stands.
    bool step()
    {
        const int rc = sqlite3_step(statement_);
        check(rc, db_, "step");
        return rc == SQLITE_ROW;
    }
    std::string text(int column)
    {
        const void* p = sqlite3_column_blob(statement_, column);
        const int n = sqlite3_column_bytes(statement_, column);
        return p ? std::string(static_cast<const char*>(p), static_cast<size_t>(n)) : std::string();
    }
    int integer(int column) { return sqlite3_column_int(statement_, column); }

private:
    sqlite3* db_;
    sqlite3_stmt* statement_ = nullptr;
};

// BEGIN IMMEDIATE ... COMMIT, rolled back when left by an exception.
class Transaction {
public:
    explicit Transaction(sqlite3* db) : db_(db)
    {
        check(sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), db_, "begin");
    }
    ~Transaction()
    {
        if (!done_)
            sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    void commit()
    {
        check(sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr), db_, "commit");
        done_ = true;
    }

private:
    sqlite3* db_;
    bool done_ = false;
};

int64_t now()
{
    return static_cast<int64_t>(std::time(nullptr));
}

} // namespace

struct ServiceDatabase::Connections {
    std::mutex mutex;
    std::map<std::thread::id, sqlite3*> byThread;
    ~Connections()
    {
        for (auto& c : byThread)
            sqlite3_close_v2(c.second);
    }
};

ServiceDatabase::ServiceDatabase(const std::string& path) : path_(path), connections_(new Connections) {}

ServiceDatabase::~ServiceDatabase() = default;

sqlite3* ServiceDatabase::connection()
{
    std::lock_guard<std::mutex> lock(connections_->mutex);
    sqlite3*& db = connections_->byThread[std::this_thread::get_id()];
    if (!db) {
        const int rc = sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE |
                                                               SQLITE_OPEN_NOMUTEX, nullptr);
        if (rc != SQLITE_OK) {
            const std::string why = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
            sqlite3_close_v2(db);
            db = nullptr;
            throw std::runtime_error("cannot open " + path_ + ": " + why);
        }
        sqlite3_busy_timeout(db, 10000);
        sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;", nullptr,
                     nullptr, nullptr);
    }
    return db;
}

bool ServiceDatabase::textOf(const char* sql, int key, std::string& out)
{
    Statement s(connection(), sql);
    if (!s.bind(1, key).step())
        return false;
    out = s.text(0);
    return true;
}

void ServiceDatabase::createSchema()
{
    sqlite3* db = connection();
    const char* schema =
        "CREATE TABLE IF NOT EXISTS users(qemid INTEGER PRIMARY KEY, name TEXT NOT NULL, sign TEXT NOT NULL);"
        "CREATE TABLE IF NOT EXISTS projects(id INTEGER PRIMARY KEY, projectname TEXT, groupname TEXT,"
        " groupid TEXT, uploader TEXT, uploaderqemid TEXT, uploadtime TEXT, folder TEXT NOT NULL,"
        " token TEXT NOT NULL);"
        "CREATE TABLE IF NOT EXISTS records(projectid INTEGER PRIMARY KEY, recordinfo BLOB NOT NULL,"
        " qemid INTEGER, saved INTEGER);"
        "CREATE TABLE IF NOT EXISTS record_history(id INTEGER PRIMARY KEY AUTOINCREMENT, projectid INTEGER,"
        " qemid INTEGER, recordinfo BLOB NOT NULL, saved INTEGER);"
        "CREATE INDEX IF NOT EXISTS record_history_project ON record_history(projectid, id);"
        "CREATE TABLE IF NOT EXISTS cameras(projectid INTEGER PRIMARY KEY, camerainfo BLOB NOT NULL,"
        " qemid INTEGER, saved INTEGER);"
        "CREATE TABLE IF NOT EXISTS uploads(ticket TEXT PRIMARY KEY, projectid INTEGER, qemid INTEGER,"
        " md5 TEXT, received INTEGER DEFAULT 0, created INTEGER);"
        "CREATE TABLE IF NOT EXISTS thumbnails(projectid INTEGER, path TEXT, md5 TEXT, saved INTEGER,"
        " PRIMARY KEY(projectid, path));";
    Transaction t(db);
    check(sqlite3_exec(db, schema, nullptr, nullptr, nullptr), db, "schema");
    t.commit();
}

void ServiceDatabase::upsertUser(int qemid, const std::string& name, const std::string& sign)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "INSERT INTO users(qemid, name, sign) VALUES(?1, ?2, ?3)"
                  " ON CONFLICT(qemid) DO UPDATE SET name = ?2, sign = ?3")
        .bind(1, qemid)
        .bind(2, name)
        .bind(3, sign)
        .step();
    t.commit();
}

bool ServiceDatabase::userSign(int qemid, std::string& sign)
{
    return textOf("SELECT sign FROM users WHERE qemid = ?1", qemid, sign);
}

void ServiceDatabase::upsertProject(ProjectRow row)
{
    sqlite3* db = connection();
    Transaction t(db);
    {
        Statement existing(db, "SELECT token FROM projects WHERE id = ?1");
        row.token = existing.bind(1, row.id).step() ? existing.text(0) : randomHex();
    }
    Statement(db, "INSERT OR REPLACE INTO projects(id, projectname, groupname, groupid, uploader, uploaderqemid,"
                  " uploadtime, folder, token) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")
        .bind(1, row.id)
        .bind(2, row.projectname)
        .bind(3, row.groupname)
        .bind(4, row.groupid)
        .bind(5, row.uploader)
        .bind(6, row.uploaderqemid)
        .bind(7, row.uploadtime)
        .bind(8, row.folder)
        .bind(9, row.token)
        .step();
    t.commit();
}

bool ServiceDatabase::project(int id, ProjectRow& row)
{
    Statement s(connection(), "SELECT projectname, groupname, groupid, uploader, uploaderqemid, uploadtime,"
                              " folder, token FROM projects WHERE id = ?1");
    if (!s.bind(1, id).step())
        return false;
    row.id = id;
    row.projectname = s.text(0);
    row.groupname = s.text(1);
    row.groupid = s.text(2);
    row.uploader = s.text(3);
    row.uploaderqemid = s.text(4);
    row.uploadtime = s.text(5);
    row.folder = s.text(6);
    row.token = s.text(7);
    return true;
}

void ServiceDatabase::saveRecord(int projectid, int qemid, const std::string& record)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "INSERT OR REPLACE INTO records(projectid, recordinfo, qemid, saved) VALUES(?1, ?2, ?3, ?4)")
        .bind(1, projectid)
        .blob(2, record)
        .bind(3, qemid)
        .bind(4, now())
        .step();
    Statement(db, "INSERT INTO record_history(projectid, qemid, recordinfo, saved) VALUES(?1, ?2, ?3, ?4)")
        .bind(1, projectid)
        .bind(2, qemid)
        .blob(3, record)
        .bind(4, now())
        .step();
    Statement(db, "DELETE FROM record_history WHERE projectid = ?1 AND id <= (SELECT id FROM record_history"
                  " WHERE projectid = ?1 ORDER BY id DESC LIMIT 1 OFFSET ?2)")
        .bind(1, projectid)
        .bind(2, kHistoryKept)
        .step();
    t.commit();
}

bool ServiceDatabase::record(int projectid, std::string& record)
{
    return textOf("SELECT recordinfo FROM records WHERE projectid = ?1", projectid, record);
}

void ServiceDatabase::saveCameras(int projectid, int qemid, const std::string& script)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "INSERT OR REPLACE INTO cameras(projectid, camerainfo, qemid, saved) VALUES(?1, ?2, ?3, ?4)")
        .bind(1, projectid)
        .blob(2, script)
        .bind(3, qemid)
        .bind(4, now())
        .step();
    t.commit();
}

bool ServiceDatabase::cameras(int projectid, std::string& script)
{
    return textOf("SELECT camerainfo FROM cameras WHERE projectid = ?1", projectid, script);
}

void ServiceDatabase::createUpload(const std::string& ticket, int projectid, int qemid, const std::string& md5)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "INSERT INTO uploads(ticket, projectid, qemid, md5, received, created) VALUES(?1, ?2, ?3, ?4, 0, ?5)")
        .bind(1, ticket)
        .bind(2, projectid)
        .bind(3, qemid)
        .bind(4, md5)
        .bind(5, now())
        .step();
    t.commit();
}

bool ServiceDatabase::upload(const std::string& ticket, int& projectid, std::string& md5)
{
    Statement s(connection(), "SELECT projectid, md5 FROM uploads WHERE ticket = ?1");
    if (!s.bind(1, ticket).step())
        return false;
    projectid = s.integer(0);
    md5 = s.text(1);
    return true;
}

void ServiceDatabase::markReceived(const std::string& ticket)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "UPDATE uploads SET received = 1 WHERE ticket = ?1").bind(1, ticket).step();
    t.commit();
}

bool ServiceDatabase::receivedUpload(int projectid, const std::string& md5, std::string& ticket)
{
    Statement s(connection(), "SELECT ticket FROM uploads WHERE projectid = ?1 AND md5 = ?2 AND received = 1"
                              " ORDER BY created DESC LIMIT 1");
    if (!s.bind(1, projectid).bind(2, md5).step())
        return false;
    ticket = s.text(0);
    return true;
}

void ServiceDatabase::finishUpload(const std::string& ticket, int projectid, const std::string& path,
                                   const std::string& md5)
{
    sqlite3* db = connection();
    Transaction t(db);
    Statement(db, "INSERT OR REPLACE INTO thumbnails(projectid, path, md5, saved) VALUES(?1, ?2, ?3, ?4)")
        .bind(1, projectid)
        .bind(2, path)
        .bind(3, md5)
        .bind(4, now())
        .step();
    Statement(db, "DELETE FROM uploads WHERE ticket = ?1").bind(1, ticket).step();
    t.commit();
}

bool ServiceDatabase::thumbnail(int projectid, const std::string& path)
{
    Statement s(connection(), "SELECT 1 FROM thumbnails WHERE projectid = ?1 AND path = ?2");
    return s.bind(1, projectid).bind(2, path).step();
}

} // namespace VeldaService
