// velda-service tried as a hostile client would: bad signs and queries,
// names and links out of a project, bad and oversized bodies, forged log
// lines, secrets on disk, unconfirmed uploads, a history that grows, slow
// clients, and its command line.
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include "formats/ProjectProps.h"
#include "jobs/FileHelpers.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <rapidjson/document.h>

#include <arpa/inet.h>
#include <chrono>
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
const char* const kBytes = "application/octet-stream";

// A reply must be a JSON object in valid UTF-8, with an errmsg beside a
// non-zero errorid; its errorid (-1 if none).
int errorIdOf(const std::string& body, std::string* message = nullptr)
{
    rapidjson::Document d;
    d.Parse<rapidjson::kParseValidateEncodingFlag>(body.c_str(), body.size());
    EXPECT_FALSE(d.HasParseError()) << "not valid UTF-8 JSON: " << body;
    if (d.HasParseError() || !d.IsObject() || !d.HasMember("errorid") || !d["errorid"].IsInt())
        return -1;
    const bool hasMessage = d.HasMember("errmsg") && d["errmsg"].IsString();
    EXPECT_TRUE(d["errorid"].GetInt() == 0 || hasMessage) << body;
    if (message && hasMessage)
        *message = d["errmsg"].GetString();
    return d["errorid"].GetInt();
}

// Waits, at most 30 s, until `done` holds; whether it does.
template <typename Done>
bool within30s(Done done)
{
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (!done()) {
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

// A service and a client of it.
struct Served {
    explicit Served(const std::vector<std::string>& options = {}, const std::string& log = {})
        : service(options, log), client(service.url())
    {
    }
    // A signed GET: "<path>?<projectid, qemid, sign><more>".
    httplib::Result call(const std::string& path, const std::string& more = "", const std::string& sign = "sign-1")
    {
        return client.Get((path + "?" + service.common(sign) + more).c_str());
    }
    httplib::Result save(const char* path, const std::string& value)
    {
        return client.Post(path, service.common() + value, kForm);
    }

    ServiceHarness service;
    httplib::Client client;
};

} // namespace

TEST(Service, RefusesHostileRequestsStoresNothingAndLogsThemSafely)
{
    VeldaTest::TempDir outside;
    ASSERT_TRUE(Velda::writeTextFile(outside.file("secret.txt"), "SECRET-BYTES-" + std::string(100, 's')));
    Served s({"--max-body", "65536"}, outside.file("service.log"));
    ASSERT_EQ(errorIdOf(s.save("/project/save3drecord.action", "&postion={\"kept\":1}")->body), 0);
    const std::string texs = s.service.projectFolder() + "/texs/";
    for (const auto& link : std::vector<std::pair<std::string, std::string>>{
             {outside.file("secret.txt"), texs + "secret.jpg"},
             {"/etc/passwd", texs + "passwd.jpg"},
             {outside.path(), texs + "out"},
             {"/etc", s.service.projectFolder() + "/etc"},
             {s.service.dataFolder() + "/service.db", texs + "db.jpg"},
             {"brick wall 水.jpg", texs + "alias.jpg"}})  // stays inside: served
        ASSERT_EQ(symlink(link.first.c_str(), link.second.c_str()), 0) << link.second;
    for (const char* good : {"texs%2Fbrick%20wall%20%E6%B0%B4.jpg", "texs%2Falias.jpg"}) {
        const auto r = s.client.Get(s.service.filePath(good).c_str());
        ASSERT_TRUE(r);
        EXPECT_EQ(r->status, 200) << good;
        EXPECT_EQ(r->body.size(), 65536u) << good;
    }
    EXPECT_EQ(s.client.Get(s.service.filePath("index").c_str())->status, 200);
    // A project's props goes out as any project file, byte for byte.
    Velda::ProjectProps props;
    props.entries = {Velda::PropsEntry{"1Wall_0000000000000000", "Wall", "IfcWall", {}, {}}};
    props.objectEntry = {{1, 0}};
    const std::vector<unsigned char> propsFile = Velda::packProjectProps(props);
    ASSERT_TRUE(Velda::writeFile(s.service.projectFolder() + "/props", propsFile.data(), propsFile.size()));
    const auto servedProps = s.client.Get(s.service.filePath("props").c_str());
    ASSERT_TRUE(servedProps);
    EXPECT_EQ(servedProps->status, 200);
    EXPECT_EQ(servedProps->body, std::string(propsFile.begin(), propsFile.end()));

    const std::string common = s.service.common(), lookup = "/project/getthreedimensionsdis.action?";
    const auto file = [&](const char* name) { return s.service.filePath(name); };
    std::string wrongToken = file("index");
    wrongToken.replace(wrongToken.find("token=") + 6, 4, "0000");
    const std::string record = "/project/save3drecord.action", script = "/project/savecamera.action";
    const std::string multipart = "--b\r\nContent-Disposition: form-data; name=\"postion\"\r\n\r\n{}\r\n--b--\r\n";
    const struct {
        const char* method;
        std::string target, body;
        int errorid, status;
        const char* type;  // null: a form, or bytes for a PUT
    } cases[] = {
        {"GET", lookup + s.service.common("wrong"), "", 2, 200},
        {"GET", lookup + "projectid=7&qemid=9999&sign=sign-1", "", 2, 200},
        {"GET", lookup + "projectid=8&qemid=1001&sign=sign-1", "", 3, 200},
        {"GET", lookup + "projectid=abc&qemid=1001&sign=sign-1", "", 1, 400},
        {"GET", lookup + "qemid=1001", "", 1, 400},
        {"GET", lookup, "", 1, 400},
        {"GET", lookup + "projectid=7&qemid=1001", "", 1, 400},
        {"POST", "/project/save3drecord.action", s.service.common("wrong") + "&postion={}", 2, 200},
        {"POST", "/project/save3drecord.action", common, 1, 400},
        {"GET", "/project/x%0Aforged%20line%0D%1B[31m\\", "", 4, 404},
        {"PUT", "/storage/put?ticket=..%2Fservice.db", "x", 4, 404},
        {"PUT", "/storage/put", "x", 4, 404},
        {"GET", "/project/uploadshoticonfinished.action?" + common + "&md5=0123456789abcdef0123456789abcdef&filename=a.png",
         "", 4, 200},
        {"GET", "/project/getshoticonuploadurl.action?" + common + "&md5=xyz", "", 1, 400},
        {"GET", "/project/downshoticon.action?" + common + "&path=..%2Fservice.db", "", 1, 400},
        // Project files: names that leave the folder, links that lead out of it.
        {"GET", wrongToken, "", 3, 404},
        {"GET", file("missing.me"), "", 4, 404},
        {"GET", file("texs%2Fsecret.jpg"), "", 4, 404},
        {"GET", file("texs%2Fpasswd.jpg"), "", 4, 404},
        {"GET", file("texs%2Fout%2Fsecret.txt"), "", 4, 404},
        {"GET", file("etc%2Fpasswd"), "", 4, 404},
        {"GET", file("texs%2Fdb.jpg"), "", 4, 404},
        {"GET", file("..%2F..%2Fdata%2Fservice.db"), "", 1, 400},
        {"GET", file("%2Fetc%2Fpasswd"), "", 1, 400},
        {"GET", file("texs%2F..%2F..%2Fdata%2Fservice.db"), "", 1, 400},
        {"GET", file("index%00.jpg"), "", 1, 400},
        {"GET", file("texs%2F%2E%2E%2Fx"), "", 1, 400},
        {"GET", file(""), "", 1, 400},
        {"GET", file("%zz"), "", 1, 400},
        {"GET", file("texs%5C..%5Cx"), "", 1, 400},
        // Bodies that are no form, or hold text that is not UTF-8, or are too large.
        {"POST", record, multipart, 1, 400, "multipart/form-data; boundary=b"},
        {"POST", record, "{\"projectid\":7,\"postion\":{}}", 1, 400, "application/json"},
        {"POST", record, std::string("\x00\x01\x02\xFF", 4), 1, 400},
        {"POST", script, common + "&script=x", 1, 400},
        {"POST", record, common + "&postion={\"name\":\"\xC3\x28\xFF\xED\xA0\x80\"}", 1, 400},
        {"POST", script, common + "&camerainfo=\xFE\xFE", 1, 400},
        {"POST", record, common + "&postion=" + std::string("{\"a\":\0}", 7), 1, 400},
        {"POST", record, common + "&postion=" + std::string(100000, 'x'), 6, 413},
        {"PUT", "/storage/put?ticket=none", std::string(100000, 'y'), 6, 413},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.method) + " " + c.target);
        const std::string method = c.method;
        const httplib::Result r = method == "GET"    ? s.client.Get(c.target.c_str())
                                  : method == "POST" ? s.client.Post(c.target.c_str(), c.body, c.type ? c.type : kForm)
                                                     : s.client.Put(c.target.c_str(), c.body, kBytes);
        ASSERT_TRUE(r);
        std::string message;
        EXPECT_EQ(errorIdOf(r->body, &message), c.errorid);
        EXPECT_EQ(r->status, c.status);
        EXPECT_EQ(message.find("HTTP"), std::string::npos);  // words, not a code
        EXPECT_EQ(message.find("bad_function_call"), std::string::npos);
        for (const char* leaked : {"SECRET-BYTES", "root:", "SQLite format"})
            EXPECT_EQ(r->body.find(leaked), std::string::npos) << leaked;
        // The service answers a proper call after every abuse.
        EXPECT_EQ(errorIdOf(s.call("/project/get3drecordinfo.action")->body), 0);
    }
    EXPECT_NE(s.call("/project/get3drecordinfo.action")->body.find("\"recordinfo\":\"{\\\"kept\\\":1}\""),
              std::string::npos);
    EXPECT_EQ(errorIdOf(s.call("/project/getcamera.action")->body), 0);
    // Right below the limit still goes through.
    EXPECT_EQ(errorIdOf(s.save(record.c_str(), "&postion=" + std::string(60000, 'z'))->body), 0);
    // A record stored before the check existed still comes back as valid UTF-8 JSON.
    s.service.sql("UPDATE records SET recordinfo = CAST('ab\xFF' AS BLOB)");
    EXPECT_NE(s.call("/project/get3drecordinfo.action")->body.find("ab\xEF\xBF\xBD"), std::string::npos);

    // Escaped, so that a path cannot forge a line; queries (signs) stay out.
    const std::string log = outside.file("service.log"), forged = "GET /project/x\\x0Aforged line\\x0D\\x1B[31m\\x5C 404 ";
    EXPECT_TRUE(within30s([&] { return VeldaTest::fileText(log).find(forged) != std::string::npos; }))
        << VeldaTest::fileText(log);
    EXPECT_EQ(VeldaTest::fileText(log).find("\nforged"), std::string::npos);
    EXPECT_EQ(VeldaTest::fileText(log).find("sign-1"), std::string::npos);
}

TEST(Service, SecretsStaySecretAndDiskUseIsBounded)
{
    Served s({"--ticket-lifetime", "1", "--history-bytes", "10000"});
    struct stat st;
    ASSERT_EQ(stat(s.service.dataFolder().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(stat((s.service.dataFolder() + "/service.db").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    const std::vector<std::string> signs = s.service.sql("SELECT sign FROM users");
    ASSERT_EQ(signs.size(), 1u);
    EXPECT_EQ(signs[0].compare(0, 7, "sha256:"), 0);
    EXPECT_EQ(signs[0].find("sign-1"), std::string::npos);

    // Tickets: 128 bits in hex, never twice.
    const std::string md5 = "&md5=9e107d9d372bb6826bd81d3542a419d6";
    std::set<std::string> tickets;
    for (int i = 0; i < 20; ++i) {
        const std::string body = s.call("/project/getshoticonuploadurl.action", md5)->body;
        tickets.insert(body.substr(body.find("ticket=") + 7, body.rfind('"') - body.find("ticket=") - 7));
    }
    EXPECT_EQ(tickets.size(), 20u);
    for (const std::string& ticket : tickets)
        EXPECT_TRUE(ticket.size() == 32 && ticket.find_first_not_of("0123456789abcdef") == std::string::npos) << ticket;

    // An upload that is never confirmed is gone after its lifetime.
    const std::string body = s.call("/project/getshoticonuploadurl.action", md5)->body;
    const std::string put = body.substr(body.find("/storage/put"), body.rfind('"') - body.find("/storage/put"));
    const std::string file = s.service.dataFolder() + "/uploads/" + put.substr(put.find("ticket=") + 7);
    ASSERT_EQ(s.client.Put(put.c_str(), "The quick brown fox jumps over the lazy dog", kBytes)->status, 200);
    EXPECT_TRUE(VeldaTest::exists(file));
    EXPECT_TRUE(within30s([&] { return !VeldaTest::exists(file); }));
    EXPECT_EQ(s.client.Put(put.c_str(), "again", kBytes)->status, 404);
    EXPECT_EQ(errorIdOf(s.call("/project/uploadshoticonfinished.action", md5)->body), 4);
    EXPECT_TRUE(s.service.sql("SELECT ticket FROM uploads").empty());

    // The history: 30 saves of 1000 bytes against a bound of 10000.
    for (int i = 0; i < 30; ++i) {
        const std::string record = "{\"save\":" + std::to_string(100 + i) + ",\"pad\":\"" + std::string(976, 'p') + "\"}";
        ASSERT_EQ(errorIdOf(s.save("/project/save3drecord.action", "&postion=" + record)->body), 0);
    }
    const std::vector<std::string> history = s.service.sql("SELECT recordinfo FROM record_history ORDER BY id");
    size_t bytes = 0;
    for (const std::string& h : history)
        bytes += h.size();
    EXPECT_LE(bytes, 10000u);
    ASSERT_GE(history.size(), 5u);
    EXPECT_NE(history.back().find("\"save\":129"), std::string::npos);  // the newest is kept

    // A sign from standard input, never on the command line.
    std::string err;
    ASSERT_EQ(s.service.admin("user", {"--qemid", "1001", "--name", "张三", "--sign", "-"}, &err, "from-stdin\n"), 0) << err;
    EXPECT_EQ(errorIdOf(s.call("/project/get3drecordinfo.action")->body), 2);
    EXPECT_EQ(errorIdOf(s.call("/project/get3drecordinfo.action", "", "from-stdin")->body), 0);
}

TEST(Service, SlowClientsCannotStarveTheOthers)
{
    ServiceHarness service({"--request-deadline", "3", "--max-per-client", "32"});
    const std::string base = service.url();

    // 200 connections from another address of the loopback, each sending
    // its request one byte every two seconds.
    sockaddr_in from{}, to{};
    from.sin_family = to.sin_family = AF_INET;
    inet_pton(AF_INET, "127.0.0.2", &from.sin_addr);
    inet_pton(AF_INET, "127.0.0.1", &to.sin_addr);
    to.sin_port = htons(static_cast<uint16_t>(std::stoi(base.substr(base.rfind(':') + 1))));
    std::vector<int> slow;
    for (int i = 0; i < 200; ++i) {
        slow.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(slow.back(), reinterpret_cast<sockaddr*>(&from), sizeof from), 0);
        ASSERT_EQ(connect(slow.back(), reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    }

    // Normal calls from 127.0.0.1 meanwhile, each on a new connection, one
    // a second; before every other one each slow connection sends a byte.
    const std::string request = "GET /project/get3drecordinfo.action?" + service.common() + " HTTP/1.1\r\n";
    double worst = 0;
    for (int call = 0; call < 8; ++call) {
        if (call % 2 == 0)
            for (int s : slow)
                send(s, &request[static_cast<size_t>(call / 2)], 1, MSG_NOSIGNAL | MSG_DONTWAIT);
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
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }

    // By now every slow connection was refused or passed its deadline: the
    // service closes it (after an answer, perhaps).
    int closed = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    const auto msLeft = [&] {
        return static_cast<int>(
            std::max<int64_t>(0, std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count()));
    };
    for (int s : slow) {
        char buffer[4096];
        pollfd p{s, POLLIN, 0};
        ssize_t n = 1;
        while (n > 0 && poll(&p, 1, msLeft()) > 0)
            n = recv(s, buffer, sizeof buffer, 0);
        closed += n <= 0;
        close(s);
    }
    std::printf("slow: %zu slow connections; normal calls answered in at most %.1f ms; %d slow connections closed\n",
                slow.size(), worst, closed);
    EXPECT_EQ(closed, 200);
}

TEST(Service, CommandLineAnswersClearly)
{
    VeldaTest::TempDir dir;
    ServiceHarness service;
    const std::string d = dir.file("d"), port = service.url().substr(service.url().rfind(':') + 1);
    const struct {
        std::vector<std::string> args;
        int code;
        const char* says;
    } cases[] = {
        {{}, 2, "usage:"},
        {{"serve", "--data", dir.path(), "--bogus"}, 2, "usage:"},
        {{"serve", "--data", dir.path(), "--threads", "many"}, 2, "usage:"},
        {{"serve", "--data", dir.file("none")}, 1, "velda-service init"},
        {{"init", "--data", d}, 0, ""},
        {{"project", "--data", d, "--id", "1", "--folder", dir.path()}, 1, "no index file"},
        {{"user", "--data", d, "--qemid", "x"}, 1, "--qemid"},
        {{"frobnicate", "--data", d}, 2, "usage:"},
        {{"serve", "--data", service.dataFolder(), "--port", port, "--quiet"}, 1, "the port is in use"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = c.args;
        args.insert(args.begin(), VELDA_SERVICE_PATH);
        const VeldaTest::ProcessResult r = VeldaTest::runProcess(args);
        EXPECT_EQ(r.exitCode, c.code) << args.size() << " " << r.err;
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    }
}
