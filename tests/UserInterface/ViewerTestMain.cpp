#include "ViewerTestMain.h"

#include "jobs/FileHelpers.h"

namespace VeldaTest {

namespace {
ViewerTestEnvironment* g_environment = nullptr;
}

ViewerTestEnvironment::ViewerTestEnvironment()
{
    appData_.reset(new ScopedEnv("APPDATA", dir_.path()));
    session_ = dir_.file("session.json");
    sessionEnv_.reset(new ScopedEnv("QEM_SESSION", session_));
    writeSession(1);
}

void ViewerTestEnvironment::writeSession(int state)
{
    Velda::writeTextFile(session_, "{\"ready\": true, \"state\": " + std::to_string(state) +
                                       ", \"projectid\": 7, \"qemid\": " + std::to_string(kUser) +
                                       ", \"username\": \"张三\", \"sign\": \"sign-1\", \"msghandle\": " +
                                       std::to_string(kHandle) + "}");
}

ViewerTestEnvironment& environment()
{
    return *g_environment;
}

int runViewerTest(QObject* test, int argc, char** argv)
{
    ViewerTestEnvironment env;
    g_environment = &env;
    VeldaClient::ApplicationMain application(argc, argv);
    VeldaClient::GraphicsContext::instance()->setApplication(&application);
    const int result = QTest::qExec(test, argc, argv);
    VeldaClient::GraphicsContext::destroyInstance();
    g_environment = nullptr;
    return result;
}

} // namespace VeldaTest
