#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "jobs/FileHelpers.h"
#include "log/Log.h"

#include "LocalServer.h"
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace VeldaClient;
using VeldaTest::ScopedEnv;

namespace {

class StartUp : public ::testing::Test {
protected:
    StartUp() : sessionEnv("QEM_SESSION", dir.file("session.json")) { GraphicsContext::destroyInstance(); }
    ~StartUp() override { GraphicsContext::destroyInstance(); }

    VeldaTest::TempDir dir;
    ScopedEnv sessionEnv;
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
    ASSERT_TRUE(VeldaTest::ServiceHarness::signIn());
    // A lookup service whose answer the test chooses.
    std::string body, target;
    VeldaTest::LocalServer fake;
    fake.http.Get("/project/getthreedimensionsdis.action", [&](const httplib::Request& req, httplib::Response& res) {
        target = req.target;
        res.set_content(body, "application/json");
    });
    fake.start();
    ScopedEnv service("QEM_SERVICE_URL", fake.url());
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
        body = c.body;
        EXPECT_EQ(initializeProjectContext(), c.fails);
    }
    EXPECT_EQ(target, "/project/getthreedimensionsdis.action?projectid=7&qemid=1001&sign=sign-1");
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
    ASSERT_TRUE(VeldaTest::ServiceHarness::signIn());

    ASSERT_FALSE(initializeProjectContext());
    GraphicsContext* context = GraphicsContext::instance();
    EXPECT_EQ(context->rootPath(), service.rootPath());
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

    const std::string log = VeldaTest::fileText(dir.path() + "/Qem Files/myeasylog.log");
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
    ASSERT_TRUE(VeldaTest::ServiceHarness::signIn());
    const std::string folder = dir.path() + "/install";
    std::filesystem::create_directories(folder);
    const std::string probe = folder + "/startup_probe";
    std::filesystem::copy_file(STARTUP_PROBE_PATH, probe);
    std::filesystem::permissions(probe, std::filesystem::perms::owner_all);

    // No module beside the program (and none on the library path), a file
    // that is not a library, a module that answers ready but lacks the
    // other exports, and at last the real one.
    for (const std::string& module : {std::string(), std::string("not a library"), std::string(BROKEN_GATE_PATH),
                                      std::string(QEM_GATE_PATH)}) {
        SCOPED_TRACE(module);
        if (module == "not a library")
            Velda::writeTextFile(folder + "/libQemGate.so", module);
        else if (!module.empty())
            std::filesystem::copy_file(module, folder + "/libQemGate.so",
                                       std::filesystem::copy_options::overwrite_existing);
        const VeldaTest::ProcessResult r = VeldaTest::runProcess({probe});
        const bool real = module == QEM_GATE_PATH;
        EXPECT_EQ(r.exitCode, real ? 0 : 1) << r.err;  // never a crash
        EXPECT_EQ(r.out, real ? "root " + service.rootPath() + "\n" : "failure\n");
    }
}
