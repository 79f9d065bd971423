#include "ViewerSession.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace VeldaTest {

namespace {

void sleepMs(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::string quoted(const std::string& text)
{
    return "'" + text + "'";
}

} // namespace

ViewerSession::ViewerSession()
{
    const std::string data = dir_.file("data");
    auto admin = [&data](const std::vector<std::string>& args) {
        std::vector<std::string> all = {VELDA_SERVICE_PATH, args[0], "--data", data};
        all.insert(all.end(), args.begin() + 1, args.end());
        const ProcessResult r = runProcess(all);
        if (!r.exited || r.exitCode != 0)
            throw std::runtime_error("velda-service " + args[0] + " failed: " + r.err);
    };
    admin({"init"});
    admin({"user", "--qemid", "1001", "--name", "张三", "--sign", "sign-1"});
    admin({"project", "--id", "7", "--folder", std::string(SAMPLES_PATH) + "/fzk-haus", "--name", "FZK Haus",
           "--group", "设计组", "--groupid", "g-12", "--uploader", "李四", "--uploaderqemid", "1002", "--uploadtime",
           "2026-11-01 09:30"});
    // Without --quiet the service names every request on its error stream.
    service_.reset(new BackgroundProcess({VELDA_SERVICE_PATH, "serve", "--data", data, "--port", "0"},
                                         dir_.file("requests.log")));
    std::string line;
    if (!service_->readLine(line, 10000) || line.compare(0, 13, "listening on ") != 0)
        throw std::runtime_error("velda-service did not start: " + line);
    url_ = line.substr(13);

    appData_.reset(new ScopedEnv("APPDATA", dir_.file("appdata")));
    session_.reset(new ScopedEnv("QEM_SESSION", dir_.file("session.json")));
    serviceEnv_.reset(new ScopedEnv("QEM_SERVICE_URL", url_));
}

ViewerSession::~ViewerSession()
{
    viewer_.reset();
    service_.reset();
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
    std::remove(logPath().c_str());
    windowId_.clear();
    viewerStart_ = std::chrono::system_clock::now();
    // With -d the log goes to the standard output too: nobody reads it here.
    viewer_.reset(new BackgroundProcess({"/bin/sh", "-c", "exec " + quoted(VELDA_VIEWER_PATH) + " -d > /dev/null"}));
}

std::string ViewerSession::logPath() const
{
    return dir_.file("appdata") + "/Qem Files/myeasylog.log";
}

std::vector<std::string> ViewerSession::logLines() const
{
    std::vector<std::string> lines;
    std::ifstream in(logPath());
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool ViewerSession::waitForReady(int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        for (const std::string& line : logLines())
            if (readyPercent(line) >= 1.0)
                return true;
        int code = 0;
        if (viewer_->waitFor(0, code))
            return false;
        sleepMs(100);
    }
    return false;
}

int ViewerSession::projectFileRequests() const
{
    std::ifstream in(dir_.file("requests.log"));
    int count = 0;
    for (std::string line; std::getline(in, line);)
        if (line.find(" /project/file.action ") != std::string::npos)
            ++count;
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
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        std::string ids;
        if (xdotool({"search", "--onlyvisible", "--name", "岚舟三维浏览器"}, &ids) == 0 && !ids.empty()) {
            windowId_ = ids.substr(0, ids.find('\n'));
            std::string shell;
            xdotool({"getwindowgeometry", "--shell", windowId_}, &shell);
            std::istringstream in(shell);
            int x = 0, y = 0, w = 0, h = 0;
            for (std::string line; std::getline(in, line);) {
                std::sscanf(line.c_str(), "X=%d", &x);
                std::sscanf(line.c_str(), "Y=%d", &y);
                std::sscanf(line.c_str(), "WIDTH=%d", &w);
                std::sscanf(line.c_str(), "HEIGHT=%d", &h);
            }
            window_ = QRect(x, y, w, h);
            return true;
        }
        sleepMs(100);
    }
    return false;
}

QImage ViewerSession::screenshot(const std::string& name)
{
    const std::string path = dir_.file(name + ".png");
    const ProcessResult r = runProcess({"/usr/bin/import", "-window", "root", path});
    if (!r.exited || r.exitCode != 0)
        return QImage();
    const QImage screen(QString::fromStdString(path));
    const QImage window = screen.copy(window_).convertToFormat(QImage::Format_RGB32);
    // To look at what a failed check saw.
    if (const char* keep = std::getenv("VELDA_E2E_SHOTS"))
        window.save(QString::fromStdString(std::string(keep) + "/" + name + ".png"));
    return window;
}

QImage ViewerSession::settledScreenshot(const std::string& name, int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    QImage last = screenshot(name);
    while (std::chrono::steady_clock::now() < end) {
        sleepMs(1500);
        QImage next = screenshot(name);
        if (!next.isNull() && meanDifference(last, next) < 0.01)
            return next;
        last = next;
    }
    return last;
}

long ViewerSession::peakMemoryKb() const
{
    if (!viewer_)
        return 0;
    std::ifstream in("/proc/" + std::to_string(viewer_->pid()) + "/status");
    long kb = 0;
    for (std::string line; std::getline(in, line);)
        if (std::sscanf(line.c_str(), "VmHWM: %ld kB", &kb) == 1)
            return kb;
    return 0;
}

long msSince(std::chrono::system_clock::time_point start, const std::string& line)
{
    std::tm when{};
    int ms = 0;
    if (std::sscanf(line.c_str(), "%d-%d-%d %d:%d:%d,%d", &when.tm_year, &when.tm_mon, &when.tm_mday, &when.tm_hour,
                    &when.tm_min, &when.tm_sec, &ms) != 7)
        return -1;
    when.tm_year -= 1900;
    when.tm_mon -= 1;
    when.tm_isdst = -1;
    const auto stamp = std::chrono::system_clock::from_time_t(std::mktime(&when)) + std::chrono::milliseconds(ms);
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(stamp - start).count());
}

double readyPercent(const std::string& line)
{
    const size_t at = line.find("ready percent:");
    if (at == std::string::npos)
        return -1.0;
    return std::atof(line.c_str() + at + 14);
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
