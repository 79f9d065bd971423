#pragma once

#include "Process.h"
#include "TempDir.h"

#include <QImage>
#include <QRect>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace VeldaTest {

// The whole set-up of the viewer as a user has it, on the X display of the
// run: velda-service on a free loopback port with the packed FZK house
// (its requests logged to a file), a qem-client session, and a private
// application data folder. Everything it starts ends with it.
class ViewerSession {
public:
    ViewerSession();
    ~ViewerSession();

    // qem-client with these arguments; its exit code.
    int client(const std::vector<std::string>& args);
    // Signs user 1001 in to project 7.
    void login();
    // Starts velda-viewer -d with the session's environment.
    void startViewer();
    BackgroundProcess& viewer() { return *viewer_; }
    // When startViewer() ran.
    std::chrono::system_clock::time_point viewerStart() const { return viewerStart_; }

    // Waits until the log says the scene is ready (progress 1).
    bool waitForReady(int timeoutMs);
    std::vector<std::string> logLines() const;
    std::string logPath() const;
    // Requests for project files the service has answered so far.
    int projectFileRequests() const;
    std::string serviceUrl() const { return url_; }

    // The viewer's window (found by its title) and its place on the screen.
    bool findWindow(int timeoutMs);
    QRect windowRect() const { return window_; }
    const std::string& windowId() const { return windowId_; }
    // The whole screen, through ImageMagick's import; the window cut out.
    QImage screenshot(const std::string& name);
    // A screenshot once two in a row agree: frames take a second or more on
    // a software renderer, and input shows a frame or two later.
    QImage settledScreenshot(const std::string& name, int timeoutMs = 30000);
    // xdotool with these arguments; its exit code.
    static int xdotool(const std::vector<std::string>& args, std::string* out = nullptr);
    // The viewer's peak resident memory, in kB (0 once it has ended).
    long peakMemoryKb() const;

    const std::string& folder() const { return dir_.path(); }

private:
    TempDir dir_;
    std::unique_ptr<ScopedEnv> appData_;
    std::unique_ptr<ScopedEnv> session_;
    std::unique_ptr<ScopedEnv> serviceEnv_;
    std::unique_ptr<BackgroundProcess> service_;
    std::unique_ptr<BackgroundProcess> viewer_;
    std::chrono::system_clock::time_point viewerStart_;
    std::string url_;
    std::string windowId_;
    QRect window_;
};

// Milliseconds from `start` to the time stamp of a log line
// ("2026-11-22 00:44:51,810 INFO ..."); -1 for a line without one.
long msSince(std::chrono::system_clock::time_point start, const std::string& line);

// The progress of a "ready percent:" line, or -1.
double readyPercent(const std::string& line);

// Mean absolute difference of two pictures of one size, per channel, 0 to 255.
double meanDifference(const QImage& a, const QImage& b);

} // namespace VeldaTest
