#pragma once

#include "Process.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <QImage>
#include <QRect>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VeldaTest {

// The whole set-up of the viewer as a user has it, on the X display of the
// run: velda-service serving the packed FZK house as project 7 (its requests
// logged), a qem-client session, and a private application data folder.
// Everything it starts ends with it.
class ViewerSession {
public:
    // Serves the project folder (the packed FZK house by default) as project 7.
    explicit ViewerSession(const std::string& projectFolder = std::string(SAMPLES_PATH) + "/fzk-haus");
    ~ViewerSession();

    // qem-client with these arguments; its exit code.
    int client(const std::vector<std::string>& args);
    // Signs user 1001 in to project 7.
    void login();
    // Starts velda-viewer -d with the session's environment.
    void startViewer();
    // Starts velda-viewer -d ARGS (a model file or folder) likewise; its
    // error stream goes to viewerErrors().
    void startViewer(const std::vector<std::string>& args);
    std::string viewerErrors() const;
    // The application data folder the viewer is given, with its separator.
    std::string appData() const;
    BackgroundProcess& viewer() { return *viewer_; }

    // Waits until the log says the scene is ready (progress 1).
    bool waitForReady(int timeoutMs);
    // Signs in, starts the viewer and waits for its window and its ready
    // scene; empty, or what did not come.
    std::string startSignedIn(int readyMs = 120000);
    std::vector<std::string> logLines() const;
    // Requests such as "GET /project/file.action" the service has answered so far.
    int requests(const std::string& request) const;
    ServiceHarness& service() { return service_; }

    // The viewer's window (found by its title) and its place on the screen.
    bool findWindow(int timeoutMs);
    QRect windowRect() const { return window_; }
    const std::string& windowId() const { return windowId_; }
    // The whole screen, through ImageMagick's import; the window cut out.
    QImage screenshot(const std::string& name);
    // A screenshot once three in a row, a second apart, agree: a frame takes
    // a second or more on a software renderer, and input shows a frame or
    // two later.
    QImage steadyScreenshot(const std::string& name);
    // xdotool with these arguments; its exit code.
    static int xdotool(const std::vector<std::string>& args, std::string* out = nullptr);

private:
    TempDir dir_;
    ServiceHarness service_;
    ScopedEnv appData_;
    ScopedEnv session_;
    ScopedEnv serviceEnv_;
    std::unique_ptr<BackgroundProcess> viewer_;
    std::string windowId_;
    QRect window_;
};

// Whether the run has an X display (scripts/test.sh runs the tests under Xvfb).
bool underX();

// Polls `done` every 200 ms for at most `timeoutMs`.
bool waitUntil(const std::function<bool()>& done, int timeoutMs);

// Mean absolute difference of two pictures of one size, per channel, 0 to 255.
double meanDifference(const QImage& a, const QImage& b);

} // namespace VeldaTest
