// velda-viewer as a user runs it, on the X server of the run: signed in
// through qem-client, streaming the FZK house from velda-service into its
// window, moved with the mouse and the keyboard, ended by the client; then
// started again from the cache; and refused without a session or a service.
#include "ViewerScreen.h"
#include "ViewerSession.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace VeldaTest;

namespace {

// The screen once its `part` differs from `before` and then stands still:
// a frame may take seconds on a software renderer beside a build.
QImage changedScreenshot(ViewerSession& session, const QImage& before, const QRect& part, const std::string& name)
{
    waitUntil(
        [&]() {
            const QImage shot = session.screenshot(name);
            return !shot.isNull() && meanDifference(before.copy(part), shot.copy(part)) > 1.0;
        },
        60000);
    return session.steadyScreenshot(name);
}

bool logged(const std::vector<std::string>& log, const char* text)
{
    return std::any_of(log.begin(), log.end(),
                       [text](const std::string& line) { return line.find(text) != std::string::npos; });
}

} // namespace

TEST(ViewerEndToEnd, withoutASessionOrAServiceItEndsWithMinusOneAndNoWindow)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    int code = 0;

    // No session: the client is not ready.
    session.startViewer();
    ASSERT_TRUE(session.viewer().waitFor(10000, code));
    EXPECT_EQ(code, 255);
    std::vector<std::string> log = session.logLines();
    EXPECT_TRUE(logged(log, "Initialize Project Context Begin!"));
    EXPECT_FALSE(logged(log, "Qem Ready!"));
    EXPECT_FALSE(logged(log, "Start Form Main Init!"));

    // Signed in, but no service answers.
    session.login();
    ScopedEnv nowhere("QEM_SERVICE_URL", "http://127.0.0.1:1");
    session.startViewer();
    ASSERT_TRUE(session.viewer().waitFor(15000, code));
    EXPECT_EQ(code, 255);
    log = session.logLines();
    EXPECT_TRUE(logged(log, "Qem Ready!"));
    EXPECT_FALSE(logged(log, "Start load project info!"));
    EXPECT_FALSE(logged(log, "Start Form Main Init!"));
    EXPECT_EQ(session.requests("GET /project/file.action"), 0);
}

TEST(ViewerEndToEnd, streamsTheHouseMovesQuitsAndStartsAgainFromTheCache)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    session.login();
    session.startViewer();
    ASSERT_TRUE(session.findWindow(30000)) << "no window";
    EXPECT_EQ(session.windowRect().size(), QSize(1024, 700));
    ASSERT_TRUE(session.waitForReady(120000)) << "the house did not get ready";
    EXPECT_GT(session.requests("GET /project/file.action"), 0);

    // The start view shows the whole house from above one corner: no wheel step.
    const QRect r = session.windowRect();
    const std::string cx = std::to_string(r.x() + r.width() / 2), cy = std::to_string(r.y() + r.height() / 2);
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy}), 0);
    const QImage whole = session.steadyScreenshot("house");
    ASSERT_FALSE(whole.isNull());
    // The 3D area: all but the title strip of 28 pixels.
    const QRect view(0, 28, whole.width(), whole.height() - 28);
    // The sky: the band above the house, right of the setting menu and the
    // review tools' buttons and left of the mini map, is drawn smooth, not
    // the bare clear colour.
    const QRect band(480, view.top() + 10, view.width() - 620, 40);
    const QRgb sky = meanColour(whole, band);
    EXPECT_GT(colourDistance(sky, qRgb(138, 173, 208)), 20) << "no sky above";
    EXPECT_LT(shareUnlike(whole, band, sky), 0.05) << "the sky is not smooth";
    // The house: much of the middle stands out from the sky.
    EXPECT_GT(shareUnlike(whole, QRect(view.center() - QPoint(120, 60), QSize(240, 120)), sky), 0.5)
        << "no house in the middle";
    // The dial's ring stands 154 from the right and 150 from the bottom.
    const QRect dial(view.right() - 144, view.bottom() - 140, 114, 114);
    EXPECT_GT(meanDifference(whole.copy(dial), whole.copy(dial.translated(-200, 0))), 6.0) << "no dial";

    // A left drag turns the view, W walks: each picture differs.
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy, "mousedown", "1", "mousemove", std::to_string(r.x() + 600),
                                      std::to_string(r.y() + 380), "mouseup", "1"}),
              0);
    const QImage turned = changedScreenshot(session, whole, view, "turned");
    EXPECT_GT(meanDifference(whole.copy(view), turned.copy(view)), 1.0);
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", session.windowId()}), 0);
    ASSERT_EQ(ViewerSession::xdotool({"key", "--repeat", "5", "w"}), 0);
    const QImage walked = changedScreenshot(session, turned, view, "walked");
    EXPECT_GT(meanDifference(turned.copy(view), walked.copy(view)), 1.0);

    // The client quits: the viewer ends at its next poll, with 0 (bounded
    // generously: a frame under way holds the poll).
    int code = -1;
    ASSERT_EQ(session.client({"quit"}), 0);
    ASSERT_TRUE(session.viewer().waitFor(10000, code));
    EXPECT_EQ(code, 0);
    // A second start takes everything from the cache.
    const int requests = session.requests("GET /project/file.action");
    ASSERT_EQ(session.startSignedIn(), "");
    EXPECT_EQ(session.requests("GET /project/file.action"), requests);
    ASSERT_EQ(session.client({"quit"}), 0);
    ASSERT_TRUE(session.viewer().waitFor(10000, code));
    EXPECT_EQ(code, 0);
}
