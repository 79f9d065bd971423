#include "ServiceDatabase.h"

#include "QueryText.h"
#include "SignHash.h"

#include <sqlite3.h>

#include <ctime>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

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
    int64_t integer64(int column) { return sqlite3_column_int64(statement_, column); }

private:
    sqlite3* db_;
    sqlite3_stmt* statement_ = nullptr;
};

// BEGIN IMMEDIATE ... COMMIT, rolled back when left by an exception. The
// writers of this process queue on a mutex first: SQLite's own wait for a
// busy database sleeps in growing steps and wakes late.
class Transaction {
public:
    Transaction(sqlite3* db, std::mutex& writers) : writers_(writers), db_(db)
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
    std::lock_guard<std::mutex> writers_;
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
    std::mutex writers;
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
        "CREATE TABLE IF NOT EXISTS history_size(projectid INTEGER PRIMARY KEY, bytes INTEGER NOT NULL);"
        "INSERT OR IGNORE INTO history_size SELECT projectid, SUM(length(recordinfo)) FROM record_history"
        " GROUP BY projectid;"
        "CREATE TABLE IF NOT EXISTS cameras(projectid INTEGER PRIMARY KEY, camerainfo BLOB NOT NULL,"
        " qemid INTEGER, saved INTEGER);"
        "CREATE TABLE IF NOT EXISTS uploads(ticket TEXT PRIMARY KEY, projectid INTEGER, qemid INTEGER,"
        " md5 TEXT, received INTEGER DEFAULT 0, created INTEGER);"
        "CREATE TABLE IF NOT EXISTS thumbnails(projectid INTEGER, path TEXT, md5 TEXT, saved INTEGER,"
        " PRIMARY KEY(projectid, path));";
    Transaction t(db, connections_->writers);
    check(sqlite3_exec(db, schema, nullptr, nullptr, nullptr), db, "schema");
    // Sign texts of databases made before signs were hashed.
    std::vector<std::pair<int, std::string>> plain;
    {
        Statement s(db, "SELECT qemid, sign FROM users");
        while (s.step())
            if (!isSignHash(s.text(1)))
                plain.emplace_back(s.integer(0), s.text(1));
    }
    for (const auto& user : plain)
        Statement(db, "UPDATE users SET sign = ?2 WHERE qemid = ?1").bind(1, user.first).bind(2, hashSign(user.second)).step();
    t.commit();
}

void ServiceDatabase::upsertUser(int qemid, const std::string& name, const std::string& sign)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
    Statement(db, "INSERT INTO users(qemid, name, sign) VALUES(?1, ?2, ?3)"
                  " ON CONFLICT(qemid) DO UPDATE SET name = ?2, sign = ?3")
        .bind(1, qemid)
        .bind(2, name)
        .bind(3, hashSign(sign))
        .step();
    t.commit();
}

bool ServiceDatabase::checkSign(int qemid, const std::string& sign)
{
    std::string stored;
    return textOf("SELECT sign FROM users WHERE qemid = ?1", qemid, stored) && signMatches(stored, sign);
}

void ServiceDatabase::upsertProject(ProjectRow row)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
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
    Transaction t(db, connections_->writers);
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
    // Then by size. The running total tells when the history may be too
    // large; it is then cut to nine tenths of the bound (newest entries
    // kept, the newest always), so the measuring runs once in many saves.
    Statement(db, "INSERT INTO history_size(projectid, bytes) VALUES(?1, ?2)"
                  " ON CONFLICT(projectid) DO UPDATE SET bytes = bytes + ?2")
        .bind(1, projectid)
        .bind(2, static_cast<int64_t>(record.size()))
        .step();
    Statement total(db, "SELECT bytes FROM history_size WHERE projectid = ?1");
    if (total.bind(1, projectid).step() && total.integer64(0) > historyBytes_) {
        Statement(db, "DELETE FROM record_history WHERE projectid = ?1 AND id IN (SELECT id FROM (SELECT id,"
                      " SUM(length(recordinfo)) OVER (ORDER BY id DESC) AS newer FROM record_history"
                      " WHERE projectid = ?1) WHERE newer > ?2 AND id < (SELECT MAX(id) FROM record_history"
                      " WHERE projectid = ?1))")
            .bind(1, projectid)
            .bind(2, historyBytes_ / 10 * 9)
            .step();
        Statement(db, "UPDATE history_size SET bytes = (SELECT COALESCE(SUM(length(recordinfo)), 0)"
                      " FROM record_history WHERE projectid = ?1) WHERE projectid = ?1")
            .bind(1, projectid)
            .step();
    }
    t.commit();
}

bool ServiceDatabase::record(int projectid, std::string& record)
{
    return textOf("SELECT recordinfo FROM records WHERE projectid = ?1", projectid, record);
}

void ServiceDatabase::saveCameras(int projectid, int qemid, const std::string& script)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
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
    Transaction t(db, connections_->writers);
    Statement(db, "INSERT INTO uploads(ticket, projectid, qemid, md5, received, created) VALUES(?1, ?2, ?3, ?4, 0, ?5)")
        .bind(1, ticket)
        .bind(2, projectid)
        .bind(3, qemid)
        .bind(4, md5)
        .bind(5, now())
        .step();
    t.commit();
}

bool ServiceDatabase::upload(const std::string& ticket, int64_t notBefore, int& projectid, std::string& md5)
{
    Statement s(connection(), "SELECT projectid, md5 FROM uploads WHERE ticket = ?1 AND created >= ?2");
    if (!s.bind(1, ticket).bind(2, notBefore).step())
        return false;
    projectid = s.integer(0);
    md5 = s.text(1);
    return true;
}

void ServiceDatabase::markReceived(const std::string& ticket)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
    Statement(db, "UPDATE uploads SET received = 1 WHERE ticket = ?1").bind(1, ticket).step();
    t.commit();
}

bool ServiceDatabase::receivedUpload(int projectid, const std::string& md5, int64_t notBefore, std::string& ticket)
{
    Statement s(connection(), "SELECT ticket FROM uploads WHERE projectid = ?1 AND md5 = ?2 AND received = 1"
                              " AND created >= ?3 ORDER BY created DESC LIMIT 1");
    if (!s.bind(1, projectid).bind(2, md5).bind(3, notBefore).step())
        return false;
    ticket = s.text(0);
    return true;
}

std::vector<std::string> ServiceDatabase::expireUploads(int64_t notBefore)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
    std::vector<std::string> tickets;
    {
        Statement s(db, "SELECT ticket FROM uploads WHERE created < ?1");
        s.bind(1, notBefore);
        while (s.step())
            tickets.push_back(s.text(0));
    }
    Statement(db, "DELETE FROM uploads WHERE created < ?1").bind(1, notBefore).step();
    t.commit();
    return tickets;
}

void ServiceDatabase::finishUpload(const std::string& ticket, int projectid, const std::string& path,
                                   const std::string& md5)
{
    sqlite3* db = connection();
    Transaction t(db, connections_->writers);
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
