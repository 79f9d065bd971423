#include "ServiceHarness.h"

#include "formats/PackedData.h"
#include "jobs/FileHelpers.h"
#include "jobs/HttpTransfer.h"
#include "platform/Platform.h"

#include "ProjectSamples.h"

#include <rapidjson/document.h>
#include <sqlite3.h>

#include <stdexcept>

namespace VeldaTest {

ServiceHarness::ServiceHarness(const std::vector<std::string>& serveOptions, const std::string& logPath)
    : serveOptions_(serveOptions), logPath_(logPath)
{
    data_ = dir_.path() + "/data";
    project_ = dir_.path() + "/project";
    Velda::Platform::makeDirectories(project_ + "/texs");
    const std::vector<unsigned char> index = sampleIndexFile();
    Velda::writeFile(project_ + "/index", index.data(), index.size());
    const std::vector<unsigned char> bundle = sampleBundleFile();
    Velda::writeFile(project_ + "/1.me", bundle.data(), bundle.size());
    std::string texture(65536, '\0');
    for (size_t i = 0; i < texture.size(); ++i)
        texture[i] = static_cast<char>(i * 31);
    Velda::writeTextFile(project_ + "/texs/brick wall 水.jpg", texture);

    std::string err;
    if (admin("init", {}, &err) != 0 ||
        admin("user", {"--qemid", std::to_string(kUser), "--name", "张三", "--sign", "sign-1"}, &err) != 0 ||
        admin("project", {"--id", std::to_string(kProject), "--folder", project_, "--name", "测试 项目", "--group",
                          "设计组", "--groupid", "g-12", "--uploader", "李四", "--uploaderqemid", "1002",
                          "--uploadtime", "2026-11-01 09:30"},
              &err) != 0)
        throw std::runtime_error("velda-service set-up failed: " + err);
    start();
}

ServiceHarness::~ServiceHarness() = default;

int ServiceHarness::admin(const std::string& command, const std::vector<std::string>& args, std::string* err,
                          const std::string& input)
{
    std::vector<std::string> all = {VELDA_SERVICE_PATH, command, "--data", data_};
    all.insert(all.end(), args.begin(), args.end());
    const ProcessResult r = runProcess(all, input);
    if (err)
        *err = r.err;
    return r.exited ? r.exitCode : -1;
}

std::string ServiceHarness::start()
{
    server_.reset();
    std::vector<std::string> args = {VELDA_SERVICE_PATH, "serve", "--data", data_, "--port", "0"};
    if (logPath_.empty())
        args.push_back("--quiet");
    args.insert(args.end(), serveOptions_.begin(), serveOptions_.end());
    server_.reset(new BackgroundProcess(args, logPath_));
    std::string line;
    if (!server_->readLine(line) || line.compare(0, 13, "listening on ") != 0)
        throw std::runtime_error("velda-service did not start: " + line);
    url_ = line.substr(13);
    return url_;
}

void ServiceHarness::kill(int signal)
{
    if (server_) {
        server_->kill(signal);
        server_->wait();
    }
}

std::string ServiceHarness::common(const std::string& sign) const
{
    return "projectid=" + std::to_string(kProject) + "&qemid=" + std::to_string(kUser) + "&sign=" + sign;
}

std::string ServiceHarness::rootPath() const
{
    rapidjson::Document d;
    d.Parse(Velda::httpGet(url_ + "/project/getthreedimensionsdis.action?" + common()).c_str());
    if (d.HasParseError() || !d.IsObject() || !d.HasMember("downurl"))
        return std::string();
    return std::string(d["serveradr"].GetString()) + d["downurl"].GetString();
}

std::string ServiceHarness::filePath(const std::string& name) const
{
    const std::string root = rootPath();
    return root.substr(root.find("/project/")) + name;
}

std::vector<std::string> ServiceHarness::sql(const std::string& statement) const
{
    std::vector<std::string> values;
    sqlite3* db = nullptr;
    if (sqlite3_open((data_ + "/service.db").c_str(), &db) == SQLITE_OK) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(db, statement.c_str(), -1, &s, nullptr);
        while (s && sqlite3_step(s) == SQLITE_ROW) {
            const char* value = static_cast<const char*>(sqlite3_column_blob(s, 0));
            values.emplace_back(value ? value : "", static_cast<size_t>(sqlite3_column_bytes(s, 0)));
        }
        sqlite3_finalize(s);
    }
    sqlite3_close(db);
    return values;
}

bool ServiceHarness::signIn(const std::string& sign)
{
    return runProcess({QEM_CLIENT_PATH, "login", "--project", std::to_string(kProject), "--user",
                       std::to_string(kUser), "--name", "张三", "--sign", sign})
               .exitCode == 0;
}

} // namespace VeldaTest
