#include "jobs/FileHelpers.h"
#include "jobs/HttpTransfer.h"
#include "jobs/NumberText.h"

#include "LocalServer.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <curl/curl.h>

using namespace Velda;
using VeldaTest::LocalServer;
using VeldaTest::TempDir;

namespace {

std::string blockText(MemoryBlock block)
{
    MemoryBlockOwner owner(block);
    EXPECT_NE(block.bytes, nullptr);
    EXPECT_EQ(block.bytes[block.size], 0);  // always terminated
    return std::string(block.bytes, block.size);
}

class HttpTransfer : public ::testing::Test {
protected:
    static void SetUpTestSuite() { curl_global_init(CURL_GLOBAL_ALL); }
    static void TearDownTestSuite() { curl_global_cleanup(); }

    void SetUp() override
    {
        server.http.Get("/binary", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string("ab\0cd", 5), "application/octet-stream");
        });
        server.http.Get("/missing", [](const httplib::Request&, httplib::Response& res) {
            res.status = 404;
            res.set_content("not here", "text/plain");
        });
        server.http.Get("/agent", [](const httplib::Request& req, httplib::Response& res) {
            res.set_content(req.get_header_value("User-Agent"), "text/plain");
        });
        server.http.Post("/echo", [this](const httplib::Request& req, httplib::Response& res) {
            lastAgent = req.get_header_value("User-Agent");
            res.set_content(req.body, "application/octet-stream");
        });
        server.http.Put("/put", [this](const httplib::Request& req, httplib::Response& res) {
            putBody = req.body;
            putType = req.get_header_value("Content-Type");
            res.set_header("ETag", "\"ABC123\"");
            res.set_content("body is not the answer", "text/plain");
        });
        server.start();
    }

    LocalServer server;
    std::string lastAgent = "unset";
    std::string putBody;
    std::string putType;
    TempDir dir;
};

} // namespace

// A body cut short of its length is the streaming test's half-sent file.
TEST_F(HttpTransfer, GetsTellWholeFilesFromFailedOnes)
{
    const std::string local = dir.file("纹理 1.jpg");  // a blank and UTF-8 in a local address
    ASSERT_TRUE(writeTextFile(local, "local bytes"));
    const struct {
        std::string url;
        bool whole;
        std::string body;
    } cases[] = {
        {server.url() + "/binary", true, std::string("ab\0cd", 5)},
        {server.url() + "/missing", false, "not here"},  // the error page is a body, not a whole file
        {"http://127.0.0.1:1/x", false, ""},
        {"file://" + local, true, "local bytes"},
        {"file://" + dir.file("none.me"), false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        const Download d = httpDownload(c.url);
        EXPECT_EQ(d.whole, c.whole);
        EXPECT_FALSE(d.stopped);
        EXPECT_EQ(blockText(d.body), c.body);
        EXPECT_EQ(blockText(httpFetch(c.url)), c.body);
    }
    EXPECT_EQ(httpGet(server.url() + "/binary"), "ab");  // cut at the zero byte
    EXPECT_EQ(httpGet(server.url() + "/agent"), "libcurl-agent/1.0");
    const std::pair<char*, size_t> none = readFile(dir.file("none.me"));
    EXPECT_NE(none.first, nullptr);  // never null, even for no file
    EXPECT_EQ(none.second, 0u);
    delete[] none.first;

    // A raised stop flag ends the transfer at its first callback.
    const std::atomic<bool> stop{true};
    const Download stopped = httpDownload(server.url() + "/binary", &stop);
    EXPECT_TRUE(stopped.stopped);
    EXPECT_FALSE(stopped.whole);
    std::free(stopped.body.bytes);
}

TEST_F(HttpTransfer, PostsSendBytesAsGiven)
{
    const std::string body = "postion={\"a\":\"1+1%3D2&b=c\",\"名\":\"水\"}";
    EXPECT_EQ(blockText(httpPostForm(server.url() + "/echo", body)), body);
    EXPECT_EQ(lastAgent, "");  // no user agent on a POST
    const std::string binary("x\0y", 3);
    EXPECT_EQ(blockText(httpPostForm(server.url() + "/echo", binary.data(), binary.size())), binary);
    ASSERT_TRUE(writeTextFile(dir.file("form.txt"), body));
    EXPECT_EQ(blockText(httpPostFile(server.url() + "/echo", dir.file("form.txt"))), body);
    EXPECT_EQ(blockText(httpPostForm("http://127.0.0.1:1/x", "a=1")), "");
}

TEST_F(HttpTransfer, PutAnswersWithHeadersAndDownloadWritesFiles)
{
    std::string content(70000, '\0');
    for (size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7);
    ASSERT_TRUE(writeFile(dir.file("thumb.jpg"), content.data(), content.size()));
    std::string answer = "stale";
    EXPECT_FALSE(httpPutFile("http://127.0.0.1:1/x", dir.file("thumb.jpg"), answer));
    EXPECT_EQ(answer, "");
    EXPECT_FALSE(httpPutFile(server.url() + "/put", dir.file("no such file"), answer));
    ASSERT_TRUE(httpPutFile(server.url() + "/put", dir.file("thumb.jpg"), answer));
    EXPECT_EQ(putBody, content);
    EXPECT_EQ(putType, "application/octet-stream");
    EXPECT_NE(answer.find("ETag: \"ABC123\""), std::string::npos);
    EXPECT_EQ(answer.find("body is not the answer"), std::string::npos);

    ASSERT_TRUE(httpDownloadFile(server.url() + "/binary", dir.file("down.bin")));
    EXPECT_EQ(VeldaTest::fileText(dir.file("down.bin")), std::string("ab\0cd", 5));
}

TEST(UrlText, EscapeAndNumbers)
{
    const std::string name = "texs/光圈 a+b%.png";
    EXPECT_EQ(urlEscape(name), "texs%2F%E5%85%89%E5%9C%88%20a%2Bb%25.png");  // UTF-8 on the wire
    EXPECT_EQ(urlUnescape(urlEscape(name)), name);
    EXPECT_EQ(urlUnescape("a%00b"), std::string("a\0b", 3));

    EXPECT_EQ(numberText(static_cast<int64_t>(-9000000000LL)), "-9000000000");
    EXPECT_EQ(numberText(1.25, 1), "1.2");
    EXPECT_EQ(numberText(1e30, 0).size(), 31u);
}
