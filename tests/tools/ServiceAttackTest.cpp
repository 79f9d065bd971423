// velda-service tried as a hostile client would: links out of a project,
// malformed bodies, forged log lines, slow clients, secrets on disk,
// unconfirmed uploads, a history that grows, a port in use.
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include "jobs/FileHelpers.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <rapidjson/document.h>
#include <sqlite3.h>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <netinet/in.h>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using VeldaTest::ServiceHarness;

const char* const kForm = "application/x-www-form-urlencoded";

// A reply must be a JSON object in valid UTF-8; its errorid (-1 if none).
int errorIdOf(const std::string& body, std::string* message = nullptr)
{
    rapidjson::Document d;
    d.Parse<rapidjson::kParseValidateEncodingFlag>(body.c_str(), body.size());
    EXPECT_FALSE(d.HasParseError()) << "not valid UTF-8 JSON: " << body;
    if (d.HasParseError() || !d.IsObject() || !d.HasMember("errorid") || !d["errorid"].IsInt())
        return -1;
    if (message && d.HasMember("errmsg") && d["errmsg"].IsString())
        *message = d["errmsg"].GetString();
    return d["errorid"].GetInt();
}

std::string filePath(const ServiceHarness& service, const std::string& name)
{
    const std::string root = service.rootPath();
    return root.substr(root.find("/project/")) + name;
}

std::string storedRecord(httplib::Client& client, const ServiceHarness& service)
{
    const auto r = client.Get(("/project/get3drecordinfo.action?" + service.common()).c_str());
    rapidjson::Document d;
    d.Parse(r ? r->body.c_str() : "");
    return !d.HasParseError() && d.IsObject() && d.HasMember("recordinfo") ? d["recordinfo"].GetString() : "?";
}

// Runs a query against the service's database.
std::vector<std::string> column(const std::string& database, const char* sql)
{
    std::vector<std::string> values;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
        while (s && sqlite3_step(s) == SQLITE_ROW)
            values.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(s, 0)),
                                static_cast<size_t>(sqlite3_column_bytes(s, 0)));
        sqlite3_finalize(s);
    }
    sqlite3_close(db);
    return values;
}

} // namespace

TEST(ServiceAttack, LinksOutOfTheProjectAreNotFollowed)
{
    VeldaTest::TempDir outside;
    const std::string secret = "SECRET-BYTES-" + std::string(100, 's');
    ASSERT_TRUE(Velda::writeTextFile(outside.file("secret.txt"), secret));
    ServiceHarness service;
    httplib::Client client(service.url());
    const std::string texs = service.projectFolder() + "/texs/";
    ASSERT_EQ(symlink(outside.file("secret.txt").c_str(), (texs + "secret.jpg").c_str()), 0);
    ASSERT_EQ(symlink("/etc/passwd", (texs + "passwd.jpg").c_str()), 0);
    ASSERT_EQ(symlink(outside.path().c_str(), (texs + "out").c_str()), 0);
    ASSERT_EQ(symlink("/etc", (service.projectFolder() + "/etc").c_str()), 0);
    ASSERT_EQ(symlink((service.dataFolder() + "/service.db").c_str(), (texs + "db.jpg").c_str()), 0);
    // A link that stays inside the project is served.
    ASSERT_EQ(symlink("brick wall 水.jpg", (texs + "alias.jpg").c_str()), 0);

    for (const char* name : {"texs%2Fsecret.jpg", "texs%2Fpasswd.jpg", "texs%2Fout%2Fsecret.txt", "etc%2Fpasswd",
                             "texs%2Fdb.jpg"}) {
        SCOPED_TRACE(name);
        const auto r = client.Get(filePath(service, name).c_str());
        ASSERT_TRUE(r);
        EXPECT_EQ(r->status, 404);
        EXPECT_GT(errorIdOf(r->body), 0);
        EXPECT_EQ(r->body.find("SECRET-BYTES"), std::string::npos);
        EXPECT_EQ(r->body.find("root:"), std::string::npos);
        EXPECT_EQ(r->body.find("SQLite format"), std::string::npos);
    }
    const auto alias = client.Get(filePath(service, "texs%2Falias.jpg").c_str());
    ASSERT_TRUE(alias);
    EXPECT_EQ(alias->status, 200);
    EXPECT_EQ(alias->body.size(), 65536u);
}

TEST(ServiceAttack, BadBodiesGetAClear400AndStoreNothing)
{
    ServiceHarness service;
    httplib::Client client(service.url());
    ASSERT_EQ(errorIdOf(client.Post("/project/save3drecord.action", service.common() + "&postion={\"kept\":1}", kForm)->body), 0);

    httplib::MultipartFormDataItems parts = {{"projectid", "7", "", ""}, {"postion", "{\"multi\":1}", "", ""}};
    const std::string badUtf8 = std::string("{\"name\":\"") + "\xC3\x28\xFF\xED\xA0\x80" + "\"}";
    struct Case {
        const char* what;
        httplib::Result reply;
    };
    Case cases[] = {
        {"multipart", client.Post("/project/save3drecord.action", parts)},
        {"json body", client.Post("/project/save3drecord.action", "{\"projectid\":7,\"postion\":{}}", "application/json")},
        {"binary body", client.Post("/project/save3drecord.action", std::string("\x00\x01\x02\xFF", 4), kForm)},
        {"no key", client.Post("/project/savecamera.action", service.common() + "&script=x", kForm)},
        {"record not UTF-8", client.Post("/project/save3drecord.action", service.common() + "&postion=" + badUtf8, kForm)},
        {"script not UTF-8", client.Post("/project/savecamera.action", service.common() + "&camerainfo=\xFE\xFE", kForm)},
        {"record with a zero byte", client.Post("/project/save3drecord.action",
                                                service.common() + "&postion=" + std::string("{\"a\":\0}", 7), kForm)},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(c.reply);
        EXPECT_EQ(c.reply->status, 400);
        std::string message;
        EXPECT_GT(errorIdOf(c.reply->body, &message), 0);
        EXPECT_FALSE(message.empty());
        EXPECT_EQ(message.find("HTTP"), std::string::npos);  // words, not a code
        EXPECT_EQ(message.find("bad_function_call"), std::string::npos);
    }
    EXPECT_EQ(storedRecord(client, service), "{\"kept\":1}");
    const auto script = client.Get(("/project/getcamera.action?" + service.common()).c_str());
    ASSERT_TRUE(script);
    EXPECT_EQ(errorIdOf(script->body), 0);

    // A record stored before the check existed still comes back as valid
    // UTF-8 JSON.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((service.dataFolder() + "/service.db").c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, ("UPDATE records SET recordinfo = CAST('" + std::string("ab\xFF") + "' AS BLOB)").c_str(), nullptr,
                 nullptr, nullptr);
    sqlite3_close(db);
    const auto old = client.Get(("/project/get3drecordinfo.action?" + service.common()).c_str());
    ASSERT_TRUE(old);
    EXPECT_EQ(errorIdOf(old->body), 0);
    EXPECT_NE(old->body.find("ab\xEF\xBF\xBD"), std::string::npos);
}

TEST(ServiceAttack, TheLogCannotBeForged)
{
    VeldaTest::TempDir dir;
    const std::string log = dir.file("service.log");
    ServiceHarness service({}, log);
    httplib::Client client(service.url());
    ASSERT_TRUE(client.Get("/project/x%0Aforged%20line%0D%1B[31m\\"));
    ASSERT_TRUE(client.Get(("/project/get3drecordinfo.action?" + service.common()).c_str()));
    std::string text;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (VeldaTest::fileText(log).find("get3drecordinfo") == std::string::npos && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    text = VeldaTest::fileText(log);
    EXPECT_NE(text.find("GET /project/x\\x0Aforged line\\x0D\\x1B[31m\\x5C 404 "), std::string::npos) << text;
    EXPECT_EQ(text.find("\nforged"), std::string::npos);
    EXPECT_EQ(text.find("sign-1"), std::string::npos);  // queries stay out of the log
}

TEST(ServiceAttack, SecretsStaySecret)
{
    ServiceHarness service;
    struct stat st;
    ASSERT_EQ(stat(service.dataFolder().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(stat((service.dataFolder() + "/service.db").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    const std::string database = service.dataFolder() + "/service.db";
    const std::vector<std::string> signs = column(database, "SELECT sign FROM users");
    ASSERT_EQ(signs.size(), 1u);
    EXPECT_EQ(signs[0].compare(0, 7, "sha256:"), 0);
    EXPECT_EQ(signs[0].find("sign-1"), std::string::npos);

    // Tickets: 128 bits, never twice.
    httplib::Client client(service.url());
    std::set<std::string> tickets;
    for (int i = 0; i < 20; ++i) {
        const auto r = client.Get(("/project/getshoticonuploadurl.action?" + service.common() +
                                   "&md5=0123456789abcdef0123456789abcdef").c_str());
        ASSERT_TRUE(r);
        const std::string ticket = r->body.substr(r->body.find("ticket=") + 7, 32);
        EXPECT_EQ(ticket.find_first_not_of("0123456789abcdef"), std::string::npos);
        tickets.insert(ticket);
    }
    EXPECT_EQ(tickets.size(), 20u);

    // A sign from standard input, never on the command line.
    std::string err;
    ASSERT_EQ(service.admin("user", {"--qemid", "1001", "--name", "张三", "--sign", "-"}, &err, "from-stdin\n"), 0) << err;
    const auto old = client.Get(("/project/get3drecordinfo.action?" + service.common()).c_str());
    EXPECT_EQ(errorIdOf(old->body), 2);
    const auto fresh = client.Get(("/project/get3drecordinfo.action?" + service.common("from-stdin")).c_str());
    EXPECT_EQ(errorIdOf(fresh->body), 0);
}

TEST(ServiceAttack, UnconfirmedUploadsExpireAndHistoryIsBounded)
{
    ServiceHarness service({"--ticket-lifetime", "1", "--history-bytes", "10000"});
    httplib::Client client(service.url());
    const std::string md5 = "9e107d9d372bb6826bd81d3542a419d6";
    const auto url = client.Get(("/project/getshoticonuploadurl.action?" + service.common() + "&md5=" + md5).c_str());
    ASSERT_TRUE(url);
    const std::string put = url->body.substr(url->body.find("/storage/put"));
    const std::string target = put.substr(0, put.find('"'));
    const std::string ticket = target.substr(target.find("ticket=") + 7);
    ASSERT_EQ(client.Put(target.c_str(), "The quick brown fox jumps over the lazy dog", "application/octet-stream")->status, 200);
    const std::string file = service.dataFolder() + "/uploads/" + ticket;
    EXPECT_TRUE(VeldaTest::exists(file));

    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (VeldaTest::exists(file) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(VeldaTest::exists(file));
    EXPECT_EQ(client.Put(target.c_str(), "again", "application/octet-stream")->status, 404);
    const auto confirm =
        client.Get(("/project/uploadshoticonfinished.action?" + service.common() + "&md5=" + md5).c_str());
    EXPECT_EQ(errorIdOf(confirm->body), 4);
    EXPECT_TRUE(column(service.dataFolder() + "/service.db", "SELECT ticket FROM uploads").empty());

    // 30 saves of 1000 bytes against a bound of 10000.
    for (int i = 0; i < 30; ++i) {
        const std::string record = "{\"save\":" + std::to_string(100 + i) + ",\"pad\":\"" + std::string(976, 'p') + "\"}";
        ASSERT_EQ(errorIdOf(client.Post("/project/save3drecord.action", service.common() + "&postion=" + record, kForm)->body), 0);
    }
    const std::vector<std::string> history =
        column(service.dataFolder() + "/service.db", "SELECT recordinfo FROM record_history ORDER BY id");
    size_t bytes = 0;
    for (const std::string& h : history)
        bytes += h.size();
    EXPECT_LE(bytes, 10000u);
    EXPECT_GE(history.size(), 5u);
    ASSERT_FALSE(history.empty());
    EXPECT_NE(history.back().find("\"save\":129"), std::string::npos);  // the newest is kept
}

TEST(ServiceAttack, SlowClientsCannotStarveTheOthers)
{
    ServiceHarness service({"--request-deadline", "3", "--max-per-client", "32"});
    const std::string base = service.url();
    const int port = std::stoi(base.substr(base.rfind(':') + 1));

    // 200 connections from another address of the loopback, each sending
    // its request one byte every two seconds.
    const int slowCount = 200;
    std::vector<int> slow;
    for (int i = 0; i < slowCount; ++i) {
        const int s = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ASSERT_GE(s, 0);
        sockaddr_in from{}, to{};
        from.sin_family = to.sin_family = AF_INET;
        inet_pton(AF_INET, "127.0.0.2", &from.sin_addr);
        inet_pton(AF_INET, "127.0.0.1", &to.sin_addr);
        to.sin_port = htons(static_cast<uint16_t>(port));
        ASSERT_EQ(bind(s, reinterpret_cast<sockaddr*>(&from), sizeof from), 0);
        ASSERT_EQ(connect(s, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
        slow.push_back(s);
    }
    std::atomic<bool> stop{false};
    std::thread trickle([&] {
        const std::string request = "GET /project/get3drecordinfo.action?" + service.common() + " HTTP/1.1\r\n";
        for (size_t at = 0; !stop && at < request.size(); ++at) {
            for (int s : slow)
                send(s, &request[at], 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            for (int i = 0; i < 20 && !stop; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });

    // Normal calls from 127.0.0.1 meanwhile, each on a new connection.
    double worst = 0;
    for (int call = 0; call < 8; ++call) {
        httplib::Client client(base);
        client.set_connection_timeout(5);
        client.set_read_timeout(10);
        const auto t0 = Clock::now();
        const auto r = client.Get(("/project/getthreedimensionsdis.action?" + service.common()).c_str());
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
        worst = std::max(worst, ms);
        ASSERT_TRUE(r);
        EXPECT_EQ(errorIdOf(r->body), 0);
        EXPECT_LT(ms, 1000.0) << "call " << call;
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
    }

    // By now every slow connection was refused or passed its deadline.
    int closed = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    std::vector<bool> done(slow.size(), false);
    while (closed < slowCount && Clock::now() < deadline) {
        for (size_t i = 0; i < slow.size(); ++i) {
            if (done[i])
                continue;
            char buffer[4096];
            const ssize_t n = recv(slow[i], buffer, sizeof buffer, MSG_DONTWAIT);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK)) {
                done[i] = true;
                ++closed;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    stop = true;
    trickle.join();
    for (int s : slow)
        close(s);
    std::printf("slow: %d slow connections; normal calls answered in at most %.1f ms; %d slow connections closed\n",
                slowCount, worst, closed);
    EXPECT_EQ(closed, slowCount);
}

TEST(ServiceAttack, CommandLineAnswersClearly)
{
    VeldaTest::TempDir dir;
    VeldaTest::ProcessResult r = VeldaTest::runProcess({VELDA_SERVICE_PATH});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.err.find("usage:"), std::string::npos);
    r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "serve", "--data", dir.path(), "--bogus"});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.err.find("usage:"), std::string::npos);
    r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "serve", "--data", dir.path(), "--threads", "many"});
    EXPECT_EQ(r.exitCode, 2);

    ServiceHarness service;
    const std::string port = service.url().substr(service.url().rfind(':') + 1);
    r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "serve", "--data", service.dataFolder(), "--port", port, "--quiet"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("the port is in use"), std::string::npos) << r.err;
}
