// The companion client's stand-in and the sign module it feeds, then the
// start-up that needs both: the project lookup and every way it can fail.
#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"
#include "log/Log.h"
#include "service/ClientMessage.h"
#include "service/QemDllImport.h"

#include "LocalServer.h"
#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace VeldaClient;
using VeldaTest::ScopedEnv;

namespace {

// A session file and a message folder of the test's own, a fresh context.
class StartUp : public ::testing::Test {
protected:
    StartUp()
        : session(dir.file("session.json")), sessionEnv("QEM_SESSION", session), runtime("XDG_RUNTIME_DIR", dir.path())
    {
        GraphicsContext::destroyInstance();
    }
    ~StartUp() override { GraphicsContext::destroyInstance(); }

    VeldaTest::ProcessResult client(std::vector<std::string> args)
    {
        args.insert(args.begin(), QEM_CLIENT_PATH);
        return VeldaTest::runProcess(args);
    }
    int login(const std::string& name, const std::string& sign, const std::string& handle = "4242")
    {
        return client({"login", "--project", "7", "--user", "1001", "--name", name, "--sign", sign, "--handle", handle})
            .exitCode;
    }
    UserSignInfo user()
    {
        UserSignInfo info;
        EXPECT_TRUE(QemDllImport::readUserSignInfo(0, info));
        return info;
    }
    std::wstring sign() { return Velda::utf16ToWide(user().signText, 128); }

    VeldaTest::TempDir dir;
    std::string session;
    ScopedEnv sessionEnv, runtime;
};

} // namespace

TEST_F(StartUp, SessionDrivesTheSignModule)
{
    // No session: not ready, and the client counts as gone.
    EXPECT_FALSE(QemDllImport::isModuleReady());
    EXPECT_EQ(QemDllImport::clientState(0), kClientGone);
    EXPECT_EQ(client({"renew"}).exitCode, 1);

    ASSERT_EQ(login("张三 Zhang", "s1"), 0);
    EXPECT_TRUE(QemDllImport::isModuleReady());
    ProjectInfoOut project;
    ASSERT_TRUE(QemDllImport::readProjectInfo(project));
    EXPECT_EQ(project.projectId, 7);
    EXPECT_EQ(user().qemid, 1001);
    EXPECT_EQ(Velda::utf16ToWide(user().userName, 50), L"张三 Zhang");
    EXPECT_EQ(sign(), L"s1");
    EXPECT_EQ(QemDllImport::msgHandle(1001), 4242);
    EXPECT_EQ(QemDllImport::clientState(1001), kClientOnline);

    // Read anew at every call: a renewed sign is there at once.
    const VeldaTest::ProcessResult renewed = client({"renew"});
    ASSERT_EQ(renewed.exitCode, 0);
    EXPECT_EQ(sign(), Velda::utf8ToWide(renewed.out.substr(0, 32)));
    ASSERT_EQ(client({"renew", "--sign", "s2"}).exitCode, 0);
    EXPECT_EQ(sign(), L"s2");
    EXPECT_NE(client({"status"}).out.find("state 1"), std::string::npos);

    ASSERT_EQ(client({"logout"}).exitCode, 0);
    EXPECT_EQ(QemDllImport::clientState(1001), 2);
    EXPECT_TRUE(QemDllImport::isModuleReady());
    ASSERT_EQ(client({"quit"}).exitCode, 0);
    EXPECT_EQ(QemDllImport::clientState(1001), kClientGone);
    EXPECT_FALSE(QemDllImport::isModuleReady());

    for (const char* broken : {"{\"ready\": false, \"state\": 1}", "not json"}) {
        Velda::writeTextFile(session, broken);
        EXPECT_FALSE(QemDllImport::isModuleReady()) << broken;
    }
    EXPECT_EQ(client({"login", "--project", "x"}).exitCode, 1);

    // Long texts are cut to their fields, and read up to the first zero unit.
    ASSERT_EQ(login(std::string(80, 'n') + "水", std::string(300, 's')), 0);
    EXPECT_EQ(Velda::utf16ToWide(user().userName, 50), std::wstring(49, L'n'));
    EXPECT_EQ(sign(), std::wstring(127, L's'));
    UserSignInfo padded{};
    padded.userName[0] = u'a';
    padded.userName[2] = u'b';
    EXPECT_EQ(Velda::utf16ToWide(padded.userName, 50), L"a");
}

TEST_F(StartUp, TheClientListensStartsInAFreshHomeAndRefusesABadCommandLine)
{
    ASSERT_EQ(login("n", "s", "77"), 0);
    EXPECT_FALSE(postClientMessage(77, 5069, 5, 0));  // nobody listens yet: fails silently
    EXPECT_FALSE(postClientMessage(0, 5069, 5, 0));
    VeldaTest::BackgroundProcess listener({QEM_CLIENT_PATH, "listen", "--count", "2"});
    std::string line;
    ASSERT_TRUE(listener.readLine(line));
    EXPECT_EQ(line, "listening on " + clientSocketPath(77));
    EXPECT_TRUE(postClientMessage(QemDllImport::msgHandle(1001), 5069, 5, 0));
    EXPECT_TRUE(postClientMessage(77, 5069, 5, 0));
    ASSERT_TRUE(listener.readLine(line));
    EXPECT_EQ(line, "message 5069 5 0");
    ASSERT_TRUE(listener.readLine(line));
    EXPECT_EQ(listener.wait(), 0);

    // No application data folder yet, and no session path of its own.
    VeldaTest::ScopedEnv noSession("QEM_SESSION", "");
    VeldaTest::ScopedEnv appData("APPDATA", dir.file("new user/AppData"));
    ASSERT_EQ(login("n", "s"), 0);
    EXPECT_TRUE(VeldaTest::exists(dir.file("new user/AppData/Qem Files/session.json")));
    EXPECT_EQ(client({"status"}).exitCode, 0);

    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{}, {"login", "--project"}, {"status", "extra"}, {"frobnicate"}}) {
        const VeldaTest::ProcessResult r = client(bad);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_NE(r.err.find("usage: qem-client"), std::string::npos);
    }
}

TEST_F(StartUp, EveryFailureOfTheClientOrTheLookupStopsTheStart)
{
    EXPECT_TRUE(initializeProjectContext());  // no session file at all
    Velda::writeTextFile(session, "{\"ready\": false, \"state\": 1, \"projectid\": 7}");
    EXPECT_TRUE(initializeProjectContext());

    ASSERT_EQ(login("张三", "sign-1"), 0);
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

TEST_F(StartUp, StartsAgainstTheServiceFollowsTheSignTextAndOutlivesABrokenModule)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    ScopedEnv appData("APPDATA", dir.path());
    char program[] = "velda-viewer";
    char debug[] = "-d";
    char* argv[] = {program, debug, nullptr};
    Velda::Log::configure(2, argv);
    ASSERT_EQ(login("张三", "sign-1"), 0);

    ASSERT_FALSE(initializeProjectContext());
    GraphicsContext* context = GraphicsContext::instance();
    EXPECT_EQ(context->rootPath(), service.rootPath());
    const ProjectInfo* info = context->projectInfo();
    EXPECT_EQ(info->projectid, 7);
    EXPECT_EQ(info->qemid, 1001);
    EXPECT_EQ(info->userName, L"张三");
    EXPECT_EQ(info->projectname + "|" + info->groupname + "|" + info->groupid + "|" + info->uploader + "|" +
                  info->uploaderqemid + "|" + info->uploadtime,
              "测试 项目|设计组|g-12|李四|1002|2026-11-01 09:30");

    // The client renews the sign; the next call carries it without a restart.
    ASSERT_EQ(service.admin("user", {"--qemid", "1001", "--name", "张三", "--sign", "sign-2"}), 0);
    EXPECT_NE(fetchProjectLookup().find("\"errorid\":2"), std::string::npos);  // the old sign is refused now
    ASSERT_EQ(client({"renew", "--sign", "sign-2"}).exitCode, 0);
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

    // A program beside no module (and none on the library path), a file
    // that is not a library, a module that answers ready but lacks the
    // other exports, and at last the real one: a failure, never a crash.
    const std::string folder = dir.path() + "/install";
    std::filesystem::create_directories(folder);
    const std::string probe = folder + "/startup_probe";
    std::filesystem::copy_file(STARTUP_PROBE_PATH, probe);
    std::filesystem::permissions(probe, std::filesystem::perms::owner_all);

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
        EXPECT_EQ(r.exitCode, real ? 0 : 1) << r.err;
        EXPECT_EQ(r.out, real ? "root " + context->rootPath() + "\n" : "failure\n");
    }
}
