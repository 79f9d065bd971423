#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"
#include "log/Log.h"
#include "platform/Platform.h"

#include "LocalServer.h"
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace VeldaClient;
using VeldaTest::ScopedEnv;

using VeldaTest::fileText;

namespace {

class StartUp : public ::testing::Test {
protected:
    StartUp() : sessionEnv("QEM_SESSION", dir.file("session.json")) { GraphicsContext::destroyInstance(); }
    ~StartUp() override { GraphicsContext::destroyInstance(); }

    void login(const std::string& sign = "sign-1")
    {
        ASSERT_EQ(VeldaTest::runProcess({QEM_CLIENT_PATH, "login", "--project", "7", "--user", "1001", "--name",
                                         "张三", "--sign", sign})
                      .exitCode,
                  0);
    }

    VeldaTest::TempDir dir;
    ScopedEnv sessionEnv;
};

// A lookup service whose answer a test chooses.
class FakeLookup {
public:
    FakeLookup()
    {
        server.http.Get("/project/getthreedimensionsdis.action", [this](const httplib::Request& req,
                                                                        httplib::Response& res) {
            target = req.target;
            res.set_content(body, "application/json");
        });
        server.start();
    }
    VeldaTest::LocalServer server;
    std::string body;
    std::string target;
};

} // namespace

TEST_F(StartUp, NeedsAReadyClient)
{
    EXPECT_TRUE(initializeProjectContext());  // no session file at all
    Velda::writeTextFile(dir.file("session.json"), "{\"ready\": false, \"state\": 1, \"projectid\": 7}");
    EXPECT_TRUE(initializeProjectContext());
}

TEST_F(StartUp, EveryFailureOfTheLookupStopsTheStart)
{
    login();
    FakeLookup fake;
    ScopedEnv service("QEM_SERVICE_URL", fake.server.url());
    const struct {
        const char* body;
        bool fails;
    } cases[] = {
        {R"({"errorid": 3, "serveradr": "http://h", "downurl": "/d?pars="})", true},
        {R"({"errorid": 0, "downurl": "/d?pars="})", true},
        {R"({"errorid": 0, "serveradr": "http://h"})", true},
        {"<html>not json</html>", true},
        {"[1, 2]", true},
        {"", true},
        {R"({"errorid": "0", "serveradr": "http://h", "downurl": "/d?pars="})", true},
        {R"({"serveradr": "http://h", "downurl": "/d?pars="})", false},  // no errorid counts as 0
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        GraphicsContext::destroyInstance();
        fake.body = c.body;
        EXPECT_EQ(initializeProjectContext(), c.fails);
    }
    EXPECT_EQ(fake.target, "/project/getthreedimensionsdis.action?projectid=7&qemid=1001&sign=sign-1");
    EXPECT_EQ(GraphicsContext::instance()->rootPath(), "http://h/d?pars=");
    EXPECT_EQ(GraphicsContext::instance()->projectInfo()->projectname, "");  // absent: empty

    GraphicsContext::destroyInstance();
    ScopedEnv down("QEM_SERVICE_URL", "http://127.0.0.1:1");
    EXPECT_TRUE(initializeProjectContext());
}

TEST_F(StartUp, StartsAgainstTheServiceAndFollowsTheSignText)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    ScopedEnv appData("APPDATA", dir.path());
    char program[] = "velda-viewer";
    char debug[] = "-d";
    char* argv[] = {program, debug, nullptr};
    Velda::Log::configure(2, argv);
    login();

    ASSERT_FALSE(initializeProjectContext());
    GraphicsContext* context = GraphicsContext::instance();
    EXPECT_EQ(context->rootPath(), service.rootPath());
    EXPECT_EQ(context->rootPath().compare(0, service.url().size(), service.url()), 0);
    EXPECT_EQ(context->rootPath().substr(context->rootPath().size() - 5), "pars=");
    const ProjectInfo* info = context->projectInfo();
    EXPECT_EQ(info->projectid, 7);
    EXPECT_EQ(info->qemid, 1001);
    EXPECT_EQ(info->userName, L"张三");
    EXPECT_EQ(info->projectname, "测试 项目");
    EXPECT_EQ(info->groupname, "设计组");
    EXPECT_EQ(info->groupid, "g-12");
    EXPECT_EQ(info->uploader, "李四");
    EXPECT_EQ(info->uploaderqemid, "1002");
    EXPECT_EQ(info->uploadtime, "2026-11-01 09:30");

    // The client renews the sign; the next call carries it without a restart.
    ASSERT_EQ(service.admin("user", {"--qemid", "1001", "--name", "张三", "--sign", "sign-2"}), 0);
    EXPECT_NE(fetchProjectLookup().find("\"errorid\":2"), std::string::npos);  // the old sign is refused now
    ASSERT_EQ(VeldaTest::runProcess({QEM_CLIENT_PATH, "renew", "--sign", "sign-2"}).exitCode, 0);
    EXPECT_NE(fetchProjectLookup().find("\"errorid\":0"), std::string::npos);
    EXPECT_EQ(context->projectInfo()->signText, L"sign-2");

    const std::string log = fileText(dir.path() + "/Qem Files/myeasylog.log");
    size_t at = 0;
    for (const char* line : {"Initialize Project Context Begin!", "Qem Ready!", "Start load project info!",
                             "Project Id : 7", "Root Path : http://127.0.0.1:", "Initialize Project Context Finished"}) {
        at = log.find(line, at);
        EXPECT_NE(at, std::string::npos) << line;
    }
    char* quiet[] = {program, nullptr};
    Velda::Log::configure(1, quiet);
}

TEST_F(StartUp, ABrokenSignModuleNeverCrashes)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    login();
    const std::string folder = dir.path() + "/install";
    std::filesystem::create_directories(folder);
    const std::string probe = folder + "/startup_probe";
    std::filesystem::copy_file(STARTUP_PROBE_PATH, probe);
    std::filesystem::permissions(probe, std::filesystem::perms::owner_all);

    // No module beside the program (and none on the library path).
    VeldaTest::ProcessResult r = VeldaTest::runProcess({probe});
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.out, "failure\n");
    // A file that is not a library.
    Velda::writeTextFile(folder + "/libQemGate.so", "not a library");
    r = VeldaTest::runProcess({probe});
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.out, "failure\n");
    // A module that answers ready but lacks the other exports.
    std::filesystem::copy_file(BROKEN_GATE_PATH, folder + "/libQemGate.so",
                               std::filesystem::copy_options::overwrite_existing);
    r = VeldaTest::runProcess({probe});
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.out, "failure\n");
    // The real one beside it: the start goes through.
    std::filesystem::copy_file(QEM_GATE_PATH, folder + "/libQemGate.so",
                               std::filesystem::copy_options::overwrite_existing);
    r = VeldaTest::runProcess({probe});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "root " + service.rootPath() + "\n");
}
