// velda-viewer as a user runs it, on the X server of the run: signed in
// through qem-client, streaming the FZK house from velda-service into its
// window, moved with the mouse and the keyboard, ended by the client; then
// started again from the cache; and refused without a session or a service.
#include "ViewerSession.h"

#include <gtest/gtest.h>

#include <QColor>

#include <chrono>
#include <cstdlib>
#include <iostream>

using namespace VeldaTest;

namespace {

bool underX()
{
    const char* display = std::getenv("DISPLAY");
    return display && *display;
}

int distance(QRgb p, QRgb q)
{
    return (std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q))) / 3;
}

// The mean colour of a part of the picture.
QRgb meanColour(const QImage& image, const QRect& part)
{
    long r = 0, g = 0, b = 0, n = 0;
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x, ++n) {
            const QRgb p = image.pixel(x, y);
            r += qRed(p);
            g += qGreen(p);
            b += qBlue(p);
        }
    return n ? qRgb(static_cast<int>(r / n), static_cast<int>(g / n), static_cast<int>(b / n)) : 0;
}

// The share of a part's pixels farther than `tolerance` from `colour`.
double shareUnlike(const QImage& image, const QRect& part, QRgb colour, int tolerance)
{
    int unlike = 0, all = 0;
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x, ++all)
            unlike += distance(image.pixel(x, y), colour) > tolerance;
    return all ? static_cast<double>(unlike) / all : 0.0;
}

// The 3D area of the window: all but the title strip of 28 pixels.
QRect viewArea(const QImage& window)
{
    return QRect(0, 28, window.width(), window.height() - 28);
}

// Where the dial's ring stands: 154 from the right, 150 from the bottom.
QRect dialArea(const QImage& window)
{
    const QRect view = viewArea(window);
    return QRect(view.right() - 154 + 10, view.bottom() - 150 + 10, 114, 114);
}

// A run's figures, from the log's time stamps.
void printFigures(ViewerSession& session, const char* cache)
{
    long first = -1, ready = -1;
    int loadingFrames = 0;
    long firstFrame = -1;
    for (const std::string& line : session.logLines()) {
        const double p = readyPercent(line);
        if (p < 0.0)
            continue;
        const long ms = msSince(session.viewerStart(), line);
        if (firstFrame < 0)
            firstFrame = ms;
        if (p > 0.0 && first < 0)
            first = ms;
        if (p >= 1.0) {
            ready = ms;
            break;
        }
        ++loadingFrames;
    }
    const double seconds = (ready - firstFrame) / 1000.0;
    std::cout << "figures (" << cache << " cache): first object " << first << " ms, ready " << ready
              << " ms, frames while loading " << loadingFrames << " ("
              << (seconds > 0 ? loadingFrames / seconds : 0.0) << " fps), peak memory "
              << session.peakMemoryKb() / 1024 << " MiB\n";
}

} // namespace

TEST(ViewerEndToEnd, withoutASessionOrAServiceItEndsWithMinusOneAndNoWindow)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display (scripts/test.sh runs the tests under Xvfb)";
    ViewerSession session;
    int code = 0;

    // No session: the client is not ready.
    session.startViewer();
    ASSERT_TRUE(session.viewer().waitFor(10000, code));
    EXPECT_EQ(code, 255);
    std::vector<std::string> log = session.logLines();
    auto logged = [&log](const char* text) {
        for (const std::string& line : log)
            if (line.find(text) != std::string::npos)
                return true;
        return false;
    };
    EXPECT_TRUE(logged("Initialize Project Context Begin!"));
    EXPECT_FALSE(logged("Qem Ready!"));
    EXPECT_FALSE(logged("Start Form Main Init!"));

    // Signed in, but no service answers.
    session.login();
    ScopedEnv nowhere("QEM_SERVICE_URL", "http://127.0.0.1:1");
    session.startViewer();
    ASSERT_TRUE(session.viewer().waitFor(15000, code));
    EXPECT_EQ(code, 255);
    log = session.logLines();
    EXPECT_TRUE(logged("Qem Ready!"));
    EXPECT_FALSE(logged("Start load project info!"));
    EXPECT_FALSE(logged("Start Form Main Init!"));
    EXPECT_EQ(session.projectFileRequests(), 0);
}

TEST(ViewerEndToEnd, streamsTheHouseMovesQuitsAndStartsAgainFromTheCache)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display (scripts/test.sh runs the tests under Xvfb)";
    ViewerSession session;
    session.login();
    session.startViewer();
    ASSERT_TRUE(session.findWindow(30000)) << "no window";
    EXPECT_EQ(session.windowRect().size(), QSize(1024, 700));
    ASSERT_TRUE(session.waitForReady(120000)) << "the house did not get ready";
    EXPECT_GT(session.projectFileRequests(), 0);

    // The start framing stands inside the house: step back with the wheel,
    // a step a second (wheel events that queue up during a slow frame arrive
    // as one), and not past the far plane.
    const QRect r = session.windowRect();
    const std::string cx = std::to_string(r.x() + r.width() / 2), cy = std::to_string(r.y() + r.height() / 2);
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy}), 0);
    ASSERT_EQ(ViewerSession::xdotool({"click", "--repeat", "12", "--delay", "1000", "5"}), 0);
    const QImage whole = session.settledScreenshot("house");
    ASSERT_FALSE(whole.isNull());
    const QRect view = viewArea(whole);
    // The sky: the band above the house is drawn, not the bare clear colour.
    const QRect band(20, view.top() + 10, view.width() - 180, 40);
    const QRgb sky = meanColour(whole, band);
    EXPECT_GT(distance(sky, qRgb(138, 173, 208)), 20) << "no sky above";
    EXPECT_LT(shareUnlike(whole, band, sky, 12), 0.05) << "the sky is not smooth";
    // The house: much of the middle stands out from the sky.
    EXPECT_GT(shareUnlike(whole, QRect(view.center() - QPoint(120, 60), QSize(240, 120)), sky, 12), 0.5)
        << "no house in the middle";
    const QRect dial = dialArea(whole);
    EXPECT_GT(meanDifference(whole.copy(dial), whole.copy(dial.translated(-200, 0))), 6.0) << "no dial";

    // A left drag turns the view, W walks: each picture differs.
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy, "mousedown", "1", "mousemove", std::to_string(r.x() + 600),
                                      std::to_string(r.y() + 380), "mouseup", "1"}),
              0);
    const QImage turned = session.settledScreenshot("turned");
    EXPECT_GT(meanDifference(whole.copy(view), turned.copy(view)), 1.0);
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", session.windowId()}), 0);
    ASSERT_EQ(ViewerSession::xdotool({"key", "--repeat", "5", "w"}), 0);
    const QImage walked = session.settledScreenshot("walked");
    EXPECT_GT(meanDifference(turned.copy(view), walked.copy(view)), 1.0);

    printFigures(session, "empty");
    // The client quits: the viewer ends within two seconds, with 0.
    const auto quit = std::chrono::steady_clock::now();
    ASSERT_EQ(session.client({"quit"}), 0);
    int code = -1;
    ASSERT_TRUE(session.viewer().waitFor(2000, code));
    EXPECT_EQ(code, 0);
    std::cout << "ended " << std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - quit).count()
              << " ms after qem-client quit\n";

    // A second start takes everything from the cache.
    const int requests = session.projectFileRequests();
    session.login();
    session.startViewer();
    ASSERT_TRUE(session.findWindow(30000));
    ASSERT_TRUE(session.waitForReady(120000));
    EXPECT_EQ(session.projectFileRequests(), requests);
    printFigures(session, "filled");
    ASSERT_EQ(session.client({"quit"}), 0);
    ASSERT_TRUE(session.viewer().waitFor(2000, code));
    EXPECT_EQ(code, 0);
}
