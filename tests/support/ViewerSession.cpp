#include "ViewerSession.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace VeldaTest {

ViewerSession::ViewerSession(const std::string& projectFolder)
    : service_({}, dir_.file("requests.log")),
      appData_("APPDATA", dir_.file("appdata")),
      session_("QEM_SESSION", dir_.file("session.json")),
      serviceEnv_("QEM_SERVICE_URL", service_.url())
{
    if (service_.admin("project", {"--id", "7", "--folder", projectFolder, "--name", "FZK Haus"}) != 0)
        throw std::runtime_error("velda-service did not take the project " + projectFolder);
}

ViewerSession::~ViewerSession()
{
    viewer_.reset();
}

int ViewerSession::client(const std::vector<std::string>& args)
{
    std::vector<std::string> all = {QEM_CLIENT_PATH};
    all.insert(all.end(), args.begin(), args.end());
    const ProcessResult r = runProcess(all);
    return r.exited ? r.exitCode : -1;
}

void ViewerSession::login()
{
    if (client({"login", "--project", "7", "--user", "1001", "--name", "张三", "--sign", "sign-1", "--handle",
                "4242"}) != 0)
        throw std::runtime_error("qem-client login failed");
}

void ViewerSession::startViewer()
{
    std::remove((dir_.file("appdata") + "/Qem Files/myeasylog.log").c_str());
    windowId_.clear();
    // With -d the log goes to the standard output too: nobody reads it here.
    viewer_.reset(new BackgroundProcess({"/bin/sh", "-c", "exec '" VELDA_VIEWER_PATH "' -d > /dev/null"}));
}

void ViewerSession::startViewer(const std::vector<std::string>& args)
{
    std::remove((appData() + "myeasylog.log").c_str());
    windowId_.clear();
    std::vector<std::string> all = {"/bin/sh", "-c", "exec \"$0\" -d \"$@\" > /dev/null 2> '" +
                                                         dir_.file("viewer.err") + "'",
                                    VELDA_VIEWER_PATH};
    all.insert(all.end(), args.begin(), args.end());
    viewer_.reset(new BackgroundProcess(all));
}

std::string ViewerSession::viewerErrors() const
{
    return fileText(dir_.file("viewer.err"));
}

std::string ViewerSession::appData() const
{
    return dir_.file("appdata") + "/Qem Files/";
}

std::vector<std::string> ViewerSession::logLines() const
{
    std::vector<std::string> lines;
    std::ifstream in(appData() + "myeasylog.log");
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string ViewerSession::startSignedIn(int readyMs)
{
    login();
    startViewer();
    if (!findWindow(30000))
        return "no window";
    if (!waitForReady(readyMs))
        return "the house did not get ready";
    return std::string();
}

bool ViewerSession::waitForReady(int timeoutMs)
{
    auto ready = [this]() {
        for (const std::string& line : logLines()) {
            const size_t at = line.find("ready percent:");
            if (at != std::string::npos && std::atof(line.c_str() + at + 14) >= 1.0)
                return true;
        }
        return false;
    };
    // A viewer that has ended never gets ready.
    int code = 0;
    waitUntil([&]() { return ready() || viewer_->waitFor(0, code); }, timeoutMs);
    return ready();
}

int ViewerSession::requests(const std::string& request) const
{
    std::ifstream in(dir_.file("requests.log"));
    int count = 0;
    for (std::string line; std::getline(in, line);)
        count += line.find(request + " ") != std::string::npos;
    return count;
}

int ViewerSession::xdotool(const std::vector<std::string>& args, std::string* out)
{
    std::vector<std::string> all = {"/usr/bin/xdotool"};
    all.insert(all.end(), args.begin(), args.end());
    const ProcessResult r = runProcess(all);
    if (out)
        *out = r.out;
    return r.exited ? r.exitCode : -1;
}

bool ViewerSession::findWindow(int timeoutMs)
{
    std::string shell;
    if (!waitUntil([&shell]() { return xdotool({"search", "--onlyvisible", "--name", "岚舟三维浏览器",
                                                 "getwindowgeometry", "--shell"}, &shell) == 0; },
                   timeoutMs))
        return false;
    std::istringstream in(shell);
    int x = 0, y = 0, w = 0, h = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 7, "WINDOW=") == 0)
            windowId_ = line.substr(7);
        std::sscanf(line.c_str(), "X=%d", &x);
        std::sscanf(line.c_str(), "Y=%d", &y);
        std::sscanf(line.c_str(), "WIDTH=%d", &w);
        std::sscanf(line.c_str(), "HEIGHT=%d", &h);
    }
    window_ = QRect(x, y, w, h);
    return true;
}

QImage ViewerSession::screenshot(const std::string& name)
{
    const std::string path = dir_.file(name + ".png");
    const ProcessResult r = runProcess({"/usr/bin/import", "-window", "root", path});
    if (!r.exited || r.exitCode != 0)
        return QImage();
    const QImage window = QImage(QString::fromStdString(path)).copy(window_).convertToFormat(QImage::Format_RGB32);
    // To look at what a failed check saw.
    if (const char* keep = std::getenv("VELDA_E2E_SHOTS"))
        window.save(QString::fromStdString(std::string(keep) + "/" + name + ".png"));
    return window;
}

QImage ViewerSession::steadyScreenshot(const std::string& name)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(45);
    QImage last = screenshot(name);
    for (int same = 1; same < 3 && std::chrono::steady_clock::now() < end;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        QImage next = screenshot(name);
        same = !next.isNull() && meanDifference(last, next) < 0.01 ? same + 1 : 1;
        last = next;
    }
    return last;
}

bool underX()
{
    const char* display = std::getenv("DISPLAY");
    return display && *display;
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        if (done())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    return done();
}

double meanDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull())
        return 0.0;
    double sum = 0.0;
    for (int y = 0; y < a.height(); ++y) {
        const QRgb* p = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const QRgb* q = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x)
            sum += std::abs(qRed(p[x]) - qRed(q[x])) + std::abs(qGreen(p[x]) - qGreen(q[x])) +
                   std::abs(qBlue(p[x]) - qBlue(q[x]));
    }
    return sum / (3.0 * a.width() * a.height());
}

} // namespace VeldaTest
