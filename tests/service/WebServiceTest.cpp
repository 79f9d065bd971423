#include "Common/GraphicsContext.h"
#include "jobs/FileHelpers.h"
#include "service/WebService.h"

#include "LocalServer.h"
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"
#include "TestImages.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <QDir>

#include <stdexcept>
#include <sys/stat.h>

using namespace VeldaClient;
using VeldaTest::ScopedEnv;

using VeldaTest::exists;
using VeldaTest::fileText;

namespace {

class WebCalls : public ::testing::Test {
protected:
    WebCalls() : session("QEM_SESSION", dir.file("session.json"))
    {
        GraphicsContext::destroyInstance();
        EXPECT_EQ(VeldaTest::runProcess({QEM_CLIENT_PATH, "login", "--project", "7", "--user", "1001", "--name",
                                         "张三", "--sign", "sign-1"})
                      .exitCode,
                  0);
    }
    ~WebCalls() override { GraphicsContext::destroyInstance(); }

    std::string thumbnail(const std::string& name)
    {
        const std::vector<unsigned char> png = VeldaTest::encodeImage(VeldaTest::ImageKind::Png, 120, 80, 24);
        const std::string path = QDir::tempPath().toStdString() + "/" + name;
        Velda::writeFile(path, png.data(), png.size());
        return path;
    }

    VeldaTest::TempDir dir;
    ScopedEnv session;
};

// A storage and confirmation service that misbehaves on request.
class FakeStorage {
public:
    FakeStorage()
    {
        server.http.Get("/project/getshoticonuploadurl.action", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(addressReply.empty() ? "{\"uploadurl\":\"" + server.url() + "/put\"}" : addressReply,
                            "application/json");
        });
        server.http.Put("/put", [this](const httplib::Request&, httplib::Response& res) {
            for (const auto& h : headers)
                res.set_header(h.first.c_str(), h.second);
        });
        server.http.Get("/project/uploadshoticonfinished.action", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(confirmReply, "application/json");
        });
        server.start();
    }
    VeldaTest::LocalServer server;
    std::string addressReply;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string confirmReply = "{\"errorid\":0,\"path\":\"x.png\"}";
};

std::string failureText(const std::string& path)
{
    try {
        WebService::uploadThumbnail(path);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no failure";
}

} // namespace

TEST_F(WebCalls, RecordsAndScriptsComeBackByteForByte)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    EXPECT_EQ(WebService::commonQuery(), "projectid=7&qemid=1001&sign=sign-1");
    EXPECT_EQ(WebService::readRecordInfo(), "");  // nothing saved yet

    const std::string record =
        R"({"1":"{\"0\":1.0,\"lstUser\":\"张三\",\"img\":\"a+b%20c.png\"}","2":"x=1&y=2+3%","名":"水 面"})";
    WebService::saveRecord(record);
    EXPECT_EQ(WebService::readRecordInfo(), record);
    WebService::saveRecord("");  // an empty text is not sent
    EXPECT_EQ(WebService::readRecordInfo(), record);

    const std::string script =
        "select (for c in cameras collect c)\nTargetcamera name: \"QEMCam1\" fov:45 pos:[1,2,3] a+b=c&d%25 水\n";
    WebService::saveCameras(script);
    rapidjson::Document cameras;
    cameras.Parse(WebService::readCameras().c_str());
    ASSERT_TRUE(cameras.IsObject());
    EXPECT_EQ(std::string(cameras["camerainfo"].GetString(), cameras["camerainfo"].GetStringLength()), script);
}

TEST_F(WebCalls, ThumbnailsTravelBothWays)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    const std::string local = thumbnail("7.thumbnail.3.png");
    const std::string bytes = fileText(local);
    const std::string digest = WebService::fileMd5Hex(local);
    EXPECT_EQ(digest.size(), 32u);

    const std::string path = WebService::uploadThumbnail(local);
    EXPECT_EQ(path, digest + ".png");
    EXPECT_FALSE(exists(local));  // removed before the confirmation
    const std::string back = WebService::downloadThumbnail(path);
    EXPECT_EQ(back, QDir::tempPath().toStdString() + "/" + path);
    EXPECT_EQ(fileText(back), bytes);
    std::remove(back.c_str());

    EXPECT_EQ(WebService::uploadThumbnail(""), "");
    EXPECT_EQ(WebService::downloadThumbnail(""), "");
    EXPECT_EQ(WebService::downloadThumbnail("../escape.png"), "");  // never outside the temp folder
}

TEST_F(WebCalls, UploadRefusalsCarryTheirTexts)
{
    FakeStorage fake;
    ScopedEnv url("QEM_SERVICE_URL", fake.server.url());
    const std::string local = thumbnail("7.thumbnail.9.png");
    const std::string digest = WebService::fileMd5Hex(local);
    std::string upper = digest;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));

    fake.headers = {{"X-Other", "1"}};
    EXPECT_EQ(failureText(local), "ETag返回失败!");
    fake.headers = {{"ETag", "\"0123456789ABCDEF0123456789ABCDEF\""}};
    EXPECT_EQ(failureText(local), "MD5校验失败!");
    EXPECT_TRUE(exists(local));  // a refused upload leaves the file
    // The check is a plain search through all headers.
    fake.headers = {{"ETag", "\"wrong\""}, {"X-Checksum", upper}};
    fake.confirmReply = "{\"errorid\":5,\"errmsg\":\"磁盘已满\"}";
    EXPECT_EQ(failureText(local), "保存缩略图失败! 磁盘已满");
    EXPECT_FALSE(exists(local));  // removed before the confirmation failed

    const std::string again = thumbnail("7.thumbnail.9.png");
    fake.headers = {{"ETag", "\"" + upper + "\""}};
    fake.confirmReply = "not an object";
    EXPECT_EQ(WebService::uploadThumbnail(again), "");
    fake.confirmReply = "{\"errorid\":9}";
    thumbnail("7.thumbnail.9.png");
    EXPECT_EQ(failureText(again), "{\"errorid\":9}");

    thumbnail("7.thumbnail.9.png");
    fake.addressReply = "{\"errorid\":3,\"errmsg\":\"没有权限\"}";
    EXPECT_EQ(failureText(again), "获取上传缩略图地址失败! 没有权限");
    fake.addressReply = "{\"errorid\":3}";
    EXPECT_EQ(failureText(again), "获取上传缩略图地址失败!");
    fake.addressReply = "[]";
    EXPECT_EQ(WebService::uploadThumbnail(again), "");
    EXPECT_FALSE(exists(again));  // a reply that is no object removes the file
}
