#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <rapidjson/document.h>

namespace {

using VeldaTest::ServiceHarness;

int errorId(const std::string& body)
{
    rapidjson::Document d;
    d.Parse(body.c_str());
    if (d.HasParseError() || !d.IsObject() || !d.HasMember("errorid") || !d["errorid"].IsInt())
        return -1;
    EXPECT_TRUE(d["errorid"].GetInt() == 0 || (d.HasMember("errmsg") && d["errmsg"].IsString())) << body;
    return d["errorid"].GetInt();
}

class Service : public ::testing::Test {
protected:
    Service() : service({"--max-body", "65536"}), client(service.url()) {}

    // The service answers a proper call after every abuse.
    void expectAlive()
    {
        const auto r = client.Get(("/project/get3drecordinfo.action?" + service.common()).c_str());
        ASSERT_TRUE(r);
        EXPECT_EQ(errorId(r->body), 0);
    }
    std::string filePath(const std::string& name) const
    {
        const std::string root = service.rootPath();
        return root.substr(root.find("/project/")) + name;
    }

    ServiceHarness service;
    httplib::Client client;
};

} // namespace

TEST_F(Service, RefusesBadSignsAndMalformedQueries)
{
    for (const std::string& query : {service.common("wrong"), std::string("projectid=7&qemid=9999&sign=sign-1"),
                                    std::string("projectid=8&qemid=1001&sign=sign-1"),
                                    std::string("projectid=abc&qemid=1001&sign=sign-1"), std::string("qemid=1001"),
                                    std::string(""), std::string("projectid=7&qemid=1001")}) {
        SCOPED_TRACE(query);
        const auto r = client.Get(("/project/getthreedimensionsdis.action?" + query).c_str());
        ASSERT_TRUE(r);
        EXPECT_GT(errorId(r->body), 0);
        expectAlive();
    }
    const auto post = client.Post("/project/save3drecord.action", service.common("wrong") + "&postion={}",
                                  "application/x-www-form-urlencoded");
    ASSERT_TRUE(post);
    EXPECT_EQ(errorId(post->body), 2);
    const auto noValue = client.Post("/project/save3drecord.action", service.common(), "application/x-www-form-urlencoded");
    EXPECT_EQ(errorId(noValue->body), 1);
    EXPECT_EQ(errorId(client.Get("/no/such/call")->body), 4);
    expectAlive();
}

TEST_F(Service, ProjectFilesNeverLeaveTheirFolder)
{
    const auto good = client.Get(filePath("texs%2Fbrick%20wall%20%E6%B0%B4.jpg").c_str());
    ASSERT_TRUE(good);
    EXPECT_EQ(good->status, 200);
    EXPECT_EQ(good->body.size(), 65536u);
    EXPECT_EQ(client.Get(filePath("index").c_str())->status, 200);

    for (const char* bad : {"..%2F..%2Fdata%2Fservice.db", "%2Fetc%2Fpasswd", "texs%2F..%2F..%2Fdata%2Fservice.db",
                            "index%00.jpg", "texs%2F%2E%2E%2Fx", "", "%zz", "texs%5C..%5Cx"}) {
        SCOPED_TRACE(bad);
        const auto r = client.Get(filePath(bad).c_str());
        ASSERT_TRUE(r);
        EXPECT_NE(r->status, 200);
        EXPECT_GT(errorId(r->body), 0);
    }
    const std::string root = service.rootPath();
    std::string wrongToken = root.substr(root.find("/project/"));
    wrongToken.replace(wrongToken.find("token=") + 6, 4, "0000");
    EXPECT_EQ(client.Get((wrongToken + "index").c_str())->status, 404);
    EXPECT_EQ(client.Get(filePath("missing.me").c_str())->status, 404);
    expectAlive();
}

TEST_F(Service, RefusesOversizedBodies)
{
    const std::string big = service.common() + "&postion=" + std::string(100000, 'x');
    const auto r = client.Post("/project/save3drecord.action", big, "application/x-www-form-urlencoded");
    ASSERT_TRUE(r);
    EXPECT_EQ(r->status, 413);
    EXPECT_GT(errorId(r->body), 0);
    const auto put = client.Put("/storage/put?ticket=none", std::string(100000, 'y'), "application/octet-stream");
    ASSERT_TRUE(put);
    EXPECT_EQ(put->status, 413);
    expectAlive();
    // Right below the limit still goes through.
    const std::string fits = service.common() + "&postion=" + std::string(60000, 'z');
    EXPECT_EQ(errorId(client.Post("/project/save3drecord.action", fits, "application/x-www-form-urlencoded")->body), 0);
}

TEST_F(Service, UploadsNeedAnAnnouncedTicket)
{
    EXPECT_EQ(client.Put("/storage/put?ticket=..%2Fservice.db", "x", "application/octet-stream")->status, 404);
    EXPECT_EQ(client.Put("/storage/put", "x", "application/octet-stream")->status, 404);
    const auto confirm = client.Get(("/project/uploadshoticonfinished.action?" + service.common() +
                                     "&md5=0123456789abcdef0123456789abcdef&filename=a.png")
                                        .c_str());
    EXPECT_EQ(errorId(confirm->body), 4);
    EXPECT_EQ(errorId(client.Get(("/project/getshoticonuploadurl.action?" + service.common() + "&md5=xyz").c_str())->body),
              1);
    EXPECT_GT(errorId(client.Get(("/project/downshoticon.action?" + service.common() + "&path=..%2Fservice.db").c_str())->body),
              0);
    expectAlive();
}

TEST(ServiceCommandLine, ClearErrors)
{
    VeldaTest::TempDir dir;
    VeldaTest::ProcessResult r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "serve", "--data", dir.file("none")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("velda-service init"), std::string::npos);
    ASSERT_EQ(VeldaTest::runProcess({VELDA_SERVICE_PATH, "init", "--data", dir.file("d")}).exitCode, 0);
    r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "project", "--data", dir.file("d"), "--id", "1", "--folder", dir.path()});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("no index file"), std::string::npos);
    r = VeldaTest::runProcess({VELDA_SERVICE_PATH, "user", "--data", dir.file("d"), "--qemid", "x"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(VeldaTest::runProcess({VELDA_SERVICE_PATH, "frobnicate", "--data", dir.file("d")}).exitCode, 2);
}
