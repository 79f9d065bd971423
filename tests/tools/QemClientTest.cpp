#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"
#include "service/ClientMessage.h"
#include "service/QemDllImport.h"

#include "Process.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using namespace VeldaClient;

namespace {

class QemClient : public ::testing::Test {
protected:
    QemClient() : session(dir.file("session.json")), env("QEM_SESSION", session), runtime("XDG_RUNTIME_DIR", dir.path())
    {
    }
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
    VeldaTest::ScopedEnv env;
    VeldaTest::ScopedEnv runtime;
};

} // namespace

TEST_F(QemClient, SessionDrivesTheSignModule)
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
}

TEST_F(QemClient, LongTextsAreCutToTheirFields)
{
    ASSERT_EQ(login(std::string(80, 'n') + "水", std::string(300, 's')), 0);
    EXPECT_EQ(Velda::utf16ToWide(user().userName, 50), std::wstring(49, L'n'));
    EXPECT_EQ(sign(), std::wstring(127, L's'));
    // Taken up to the first zero unit, not by the width of the field.
    UserSignInfo padded{};
    padded.userName[0] = u'a';
    padded.userName[2] = u'b';
    EXPECT_EQ(Velda::utf16ToWide(padded.userName, 50), L"a");
}

TEST_F(QemClient, ListensForTheViewersMessages)
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
}

TEST_F(QemClient, AFreshHomeAndABadCommandLine)
{
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
