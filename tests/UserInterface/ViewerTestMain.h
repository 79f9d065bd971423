#pragma once

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"

#include "TempDir.h"

#include <QCloseEvent>
#include <QTest>
#include <QWidget>

#include <memory>
#include <string>

namespace VeldaTest {

// What every in-process viewer test stands on: a private application data
// folder, a signed-in session (state 1, message handle 4242) that the sign
// module reads, and the viewer's application object on the hub.
class ViewerTestEnvironment {
public:
    ViewerTestEnvironment();

    // Rewrites the session; state 0 means the companion client has gone.
    void writeSession(int state);
    const std::string& sessionPath() const { return session_; }

    static const int kUser = 1001;
    static const int kHandle = 4242;

private:
    TempDir dir_;
    std::unique_ptr<ScopedEnv> appData_;
    std::unique_ptr<ScopedEnv> sessionEnv_;
    std::unique_ptr<ScopedEnv> serviceEnv_;
    std::string session_;
};

// A window that records being closed, as the exit flow closes all windows.
class CloseProbe : public QWidget {
public:
    bool closed = false;

protected:
    void closeEvent(QCloseEvent* e) override
    {
        closed = true;
        QWidget::closeEvent(e);
    }
};

// The environment of the running test program.
ViewerTestEnvironment& environment();

// Runs the QtTest object with the viewer's application object.
int runViewerTest(QObject* test, int argc, char** argv);

} // namespace VeldaTest

#define VELDA_VIEWER_TEST_MAIN(TestClass)              \
    int main(int argc, char** argv)                    \
    {                                                  \
        TestClass test;                                \
        return VeldaTest::runViewerTest(&test, argc, argv); \
    }
