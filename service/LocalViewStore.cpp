#include "service/LocalViewStore.h"

#include "formats/TextHelpers.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <sqlite3.h>
#include <sys/stat.h>

#include <ctime>
#include <memory>
#include <stdexcept>

namespace VeldaClient {

namespace {

const qint64 kMaxThumbnailBytes = 16 << 20;  // a 120 by 80 picture is some kilobytes

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS views(model TEXT PRIMARY KEY, record TEXT NOT NULL DEFAULT '',"
    " script TEXT NOT NULL DEFAULT '', saved INTEGER NOT NULL DEFAULT 0);"
    "CREATE TABLE IF NOT EXISTS thumbnails(model TEXT NOT NULL, name TEXT NOT NULL, png BLOB NOT NULL,"
    " PRIMARY KEY(model, name));";

// One connection for one call; failures become the user's message.
class Connection {
public:
    explicit Connection(const std::string& path)
    {
        const bool fresh = !QFile::exists(QString::fromStdString(path));
        try {
            if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK)
                fail("");
            if (fresh)
                chmod(path.c_str(), 0600);  // who took which view stays the owner's
            sqlite3_busy_timeout(db_, 10000);
            run(kSchema);
        } catch (...) {
            sqlite3_close(db_);
            throw;
        }
    }
    ~Connection() { sqlite3_close(db_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void run(const char* sql)
    {
        char* message = nullptr;
        if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) != SQLITE_OK) {
            const std::string text = message ? message : "";
            sqlite3_free(message);
            fail(text);
        }
    }

    // A statement with text (or, for `blob`, byte) parameters in order.
    class Statement {
    public:
        Statement(Connection& connection, const char* sql) : connection_(connection)
        {
            if (sqlite3_prepare_v2(connection.db_, sql, -1, &statement_, nullptr) != SQLITE_OK)
                connection.fail("");
        }
        ~Statement() { sqlite3_finalize(statement_); }
        Statement& text(const std::string& value)
        {
            sqlite3_bind_text(statement_, ++bound_, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
            return *this;
        }
        Statement& blob(const QByteArray& value)
        {
            sqlite3_bind_blob(statement_, ++bound_, value.constData(), value.size(), SQLITE_TRANSIENT);
            return *this;
        }
        Statement& number(int64_t value)
        {
            sqlite3_bind_int64(statement_, ++bound_, value);
            return *this;
        }
        // True while a row is there.
        bool step()
        {
            const int result = sqlite3_step(statement_);
            if (result != SQLITE_ROW && result != SQLITE_DONE)
                connection_.fail("");
            return result == SQLITE_ROW;
        }
        std::string column(int i) const
        {
            const void* bytes = sqlite3_column_blob(statement_, i);
            return std::string(static_cast<const char*>(bytes), static_cast<size_t>(sqlite3_column_bytes(statement_, i)));
        }

    private:
        Connection& connection_;
        sqlite3_stmt* statement_ = nullptr;
        int bound_ = 0;
    };

    [[noreturn]] void fail(const std::string& text)
    {
        const std::string reason = text.empty() && db_ ? sqlite3_errmsg(db_) : text;
        throw std::runtime_error("保存视图失败! " + reason);
    }

private:
    sqlite3* db_ = nullptr;
};

std::string readOne(const std::string& path, const char* sql, const std::string& model)
{
    Connection db(path);
    Connection::Statement select(db, sql);
    select.text(model);
    return select.step() ? select.column(0) : std::string();
}

} // namespace

const char* const LocalViewStore::kFileName = "SavedViews.db";

LocalViewStore::LocalViewStore(std::string databasePath, std::string modelKey)
    : databasePath_(std::move(databasePath)), modelKey_(std::move(modelKey))
{
}

std::string LocalViewStore::readRecord()
{
    // A database that cannot be read shows no views, as an unreachable
    // service does; the next save says why.
    try {
        return readOne(databasePath_, "SELECT record FROM views WHERE model = ?", modelKey_);
    } catch (const std::runtime_error&) {
        return std::string();
    }
}

std::string LocalViewStore::readScript()
{
    return readOne(databasePath_, "SELECT script FROM views WHERE model = ?", modelKey_);
}

void LocalViewStore::saveRecord(const std::string& record)
{
    if (record.empty())
        return;
    Connection db(databasePath_);
    db.run("BEGIN IMMEDIATE");
    Connection::Statement(db, "INSERT INTO views(model, record, saved) VALUES(?, ?, ?) ON CONFLICT(model) DO UPDATE"
                              " SET record = excluded.record, saved = excluded.saved")
        .text(modelKey_)
        .text(record)
        .number(static_cast<int64_t>(std::time(nullptr)))
        .step();
    // A picture's name is in the record as long as a view shows it.
    Connection::Statement(db, "DELETE FROM thumbnails WHERE model = ? AND instr(?, name) = 0")
        .text(modelKey_)
        .text(record)
        .step();
    db.run("COMMIT");
}

void LocalViewStore::saveScript(const std::string& script)
{
    if (script.empty())
        return;
    Connection db(databasePath_);
    Connection::Statement(db, "INSERT INTO views(model, script) VALUES(?, ?) ON CONFLICT(model) DO UPDATE"
                              " SET script = excluded.script")
        .text(modelKey_)
        .text(script)
        .step();
}

std::string LocalViewStore::storeThumbnail(const std::string& localPath)
{
    if (localPath.empty())
        return std::string();
    QFile file(QString::fromStdString(localPath));
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxThumbnailBytes)
        throw std::runtime_error("保存文件失败!");
    const QByteArray png = file.readAll();
    file.close();
    const std::string name = QCryptographicHash::hash(png, QCryptographicHash::Md5).toHex().toStdString() + ".png";
    Connection db(databasePath_);
    Connection::Statement(db, "INSERT OR REPLACE INTO thumbnails(model, name, png) VALUES(?, ?, ?)")
        .text(modelKey_)
        .text(name)
        .blob(png)
        .step();
    QFile::remove(QString::fromStdString(localPath));
    return name;
}

std::string LocalViewStore::fetchThumbnail(const std::string& name)
{
    if (!Velda::isPlainFileName(name))
        return std::string();
    std::string png;
    try {
        Connection db(databasePath_);
        Connection::Statement select(db, "SELECT png FROM thumbnails WHERE model = ? AND name = ?");
        select.text(modelKey_).text(name);
        if (!select.step())
            return std::string();
        png = select.column(0);
    } catch (const std::runtime_error&) {
        return std::string();
    }
    const QString local = QDir::tempPath() + "/" + QString::fromStdString(name);
    QFile file(local);
    if (!file.open(QIODevice::WriteOnly) || file.write(png.data(), static_cast<qint64>(png.size())) !=
                                                  static_cast<qint64>(png.size()))
        return std::string();
    return local.toStdString();
}

} // namespace VeldaClient
