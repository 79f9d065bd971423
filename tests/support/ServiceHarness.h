#pragma once

#include "Process.h"
#include "TempDir.h"

#include <memory>
#include <string>
#include <vector>

namespace VeldaTest {

// A real velda-service on 127.0.0.1 with an ephemeral port and a fresh data
// folder: one user (qemid 1001, sign "sign-1") and one project (id 7) with a
// small packed project folder.
class ServiceHarness {
public:
    // With a `logPath`, the service logs each request into that file;
    // otherwise it runs quiet.
    explicit ServiceHarness(const std::vector<std::string>& serveOptions = {}, const std::string& logPath = {});
    ~ServiceHarness();

    // Runs "velda-service <command> --data <folder> <args>"; the exit code.
    int admin(const std::string& command, const std::vector<std::string>& args, std::string* err = nullptr,
              const std::string& input = {});
    // Starts serving (again); the base URL.
    std::string start();
    void kill(int signal);

    const std::string& url() const { return url_; }
    const std::string& dataFolder() const { return data_; }
    const std::string& projectFolder() const { return project_; }
    // The project's root path as the lookup gives it.
    std::string rootPath() const;
    // The address of a project file (an escaped name) below the host.
    std::string filePath(const std::string& name) const;
    // "projectid=7&qemid=1001&sign=sign-1"
    std::string common(const std::string& sign = "sign-1") const;
    int pid() const { return server_ ? server_->pid() : -1; }
    // Runs a statement on the service's database; the first column of each row.
    std::vector<std::string> sql(const std::string& statement) const;

    // "qem-client login" as this user in project 7 (session: $QEM_SESSION).
    static bool signIn(const std::string& sign = "sign-1");

    static const int kProject = 7;
    static const int kUser = 1001;

private:
    TempDir dir_;
    std::string data_;
    std::string project_;
    std::vector<std::string> serveOptions_;
    std::string logPath_;
    std::unique_ptr<BackgroundProcess> server_;
    std::string url_;
};

} // namespace VeldaTest
