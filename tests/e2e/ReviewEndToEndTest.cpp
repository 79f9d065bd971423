// The review tools as a user tries them, on the X server of the run, in
// the FZK house served by velda-service: a click on the roof selects it and
// the property panel shows its class and storey; H hides it and Shift+H
// brings it back; the section box, its top lowered with its slider, opens
// the house so that a click in the middle finds something inside; a view
// taken with the roof selected goes out as BCF and comes back from the
// file after a fresh start, into a free place, with the roof selected again
// when it is chosen.
#include "TempDir.h"
#include "ViewerScreen.h"
#include "ViewerSession.h"

#include <gtest/gtest.h>

#include <QFileInfo>

#include <algorithm>
#include <string>

using namespace VeldaTest;

namespace {

// The view's middle, where the start view shows the roof.
const QRect kMiddle(512 - 60, 28 + 336 - 40, 120, 80);
// The title row of the property panel, under the mini map and left of the
// take-view button.
const QRect kPanel(700, 124, 200, 24);

std::string lastSelection(const ViewerSession& session)
{
    const std::vector<std::string> log = session.logLines();
    // Without the time in front: the same selection logs the same text.
    for (auto line = log.rbegin(); line != log.rend(); ++line) {
        const size_t at = line->find("review: ");
        if (at != std::string::npos && line->find("section box", at) == std::string::npos)
            return line->substr(at);
    }
    return std::string();
}

// The file dialog of the viewer (neither its window nor its question nor a
// menu), or "".
std::string fileDialog()
{
    return viewerWindow([](int w, int h) { return w >= 300 && h >= 260 && !(w == 1024 && h == 700); });
}

} // namespace

TEST(ReviewEndToEnd, picksHidesCutsAndCarriesAViewThroughBcf)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    ASSERT_EQ(session.startSignedIn(), "");
    // Window pixels on the screen; a new start may place the window elsewhere.
    const auto at = [&](int x, int y) {
        const QRect r = session.windowRect();
        return std::vector<std::string>{std::to_string(r.x() + x), std::to_string(r.y() + y)};
    };
    const auto click = [&](int x, int y, const char* button = "1") {
        const std::vector<std::string> p = at(x, y);
        return ViewerSession::xdotool({"mousemove", p[0], p[1], "sleep", "0.2", "click", button});
    };
    const auto key = [&](const std::string& keys) {
        ViewerSession::xdotool({"windowfocus", session.windowId()});
        return ViewerSession::xdotool({"key", keys});
    };
    const auto changedIn = [&](const QImage& before, const QRect& part, double by, const std::string& name) {
        return once(session, [&](const QImage& shot) { return meanDifference(before.copy(part), shot.copy(part)) > by; },
                    name);
    };
    // Parks the pointer where it hides nothing that is looked at.
    const auto park = [&]() {
        const std::vector<std::string> p = at(600, 200);
        ViewerSession::xdotool({"mousemove", p[0], p[1]});
    };
    park();
    const QImage start = session.steadyScreenshot("review-start");

    // A click on the roof: it is selected and the panel tells what it is.
    ASSERT_EQ(click(512, 28 + 336), 0);
    const QImage picked = changedIn(start, kPanel, 20.0, "review-picked");
    ASSERT_FALSE(picked.isNull()) << "no property panel";
    const std::string roof = lastSelection(session);
    EXPECT_EQ(roof.find("review: 1 selected; 名称=Dach"), 0u) << roof;
    EXPECT_NE(roof.find("类型=IfcSlab"), std::string::npos) << roof;
    EXPECT_NE(roof.find("楼层="), std::string::npos) << roof;
    EXPECT_GT(meanDifference(start.copy(kMiddle), picked.copy(kMiddle)), 2.0) << "the roof is not tinted";

    // H hides the roof: its middle shows what was under it.
    ASSERT_EQ(key("h"), 0);
    const QImage hidden = changedIn(picked, kMiddle, 5.0, "review-hidden");
    ASSERT_FALSE(hidden.isNull()) << "the roof did not go";
    ASSERT_EQ(key("shift+h"), 0);
    const QImage shown = changedIn(hidden, kMiddle, 5.0, "review-shown");
    ASSERT_FALSE(shown.isNull()) << "the roof did not come back";
    EXPECT_LT(meanDifference(start.copy(kMiddle), shown.copy(kMiddle)), 2.0) << "not the house as it was";

    // X: the section box with its panel under the review buttons; the top
    // face's slider (the last of six) dragged to a third of its way.
    ASSERT_EQ(key("x"), 0);
    const QRect sectionPanel(300, 28 + 66, 228, 190);
    const QImage boxed = changedIn(shown, sectionPanel, 20.0, "review-box");
    ASSERT_FALSE(boxed.isNull()) << "no section panel";
    const std::vector<std::string> from = at(510, 28 + 235), to = at(400, 28 + 235);
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", from[0], from[1], "sleep", "0.3", "mousedown", "1", "sleep", "0.3",
                                      "mousemove", to[0], to[1], "sleep", "0.3", "mouseup", "1"}),
              0);
    park();
    const QImage cut = changedIn(boxed, kMiddle, 5.0, "review-cut");
    ASSERT_FALSE(cut.isNull()) << "the section box cut nothing";
    // The middle of the view now shows the inside: no roof there.
    ASSERT_EQ(click(512, 28 + 336), 0);
    ASSERT_TRUE(waitUntil([&]() { return lastSelection(session) != roof && !lastSelection(session).empty(); }, 30000));
    const std::string inside = lastSelection(session);
    EXPECT_EQ(inside.find("名称=Dach"), std::string::npos) << "the roof is still under the middle: " << inside;

    // Back to the whole house, the roof selected, a view taken with it. A
    // few pixels aside: two clicks on one spot in a moment are a double
    // click, which shows or hides the gallery.
    ASSERT_EQ(key("x"), 0);
    ASSERT_EQ(click(540, 28 + 330), 0);
    ASSERT_TRUE(waitUntil([&]() { return lastSelection(session) == roof; }, 30000)) << lastSelection(session);
    ASSERT_EQ(key("space"), 0);
    const QImage taken = once(session, [](const QImage& shot) { return selected(shot, 1); }, "review-taken");
    ASSERT_FALSE(taken.isNull()) << "no view in place 1";

    // Out as BCF through place 1's menu: its last entry but one.
    const TempDir files;
    const std::string bcf = files.file("views.bcf");
    const QPoint one = thumbnail(1).center();
    ASSERT_EQ(click(one.x(), one.y(), "3"), 0);
    ASSERT_TRUE(waitUntil([]() { return !menuWindow().empty(); }, 30000)) << "no menu";
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", menuWindow(), "key", "Up", "Up", "Return"}), 0);
    ASSERT_TRUE(waitUntil([]() { return !fileDialog().empty(); }, 30000)) << "no file dialog";
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", fileDialog(), "type", "--delay", "20", bcf}), 0);
    ASSERT_EQ(ViewerSession::xdotool({"key", "Return"}), 0);
    ASSERT_TRUE(waitUntil([&]() { return QFileInfo(QString::fromStdString(bcf)).size() > 0; }, 30000))
        << "no BCF file";

    // Escape clears the selection, the next one asks about the new view:
    // yes keeps it on the service (place 1 at the next start).
    ASSERT_EQ(key("Escape"), 0);
    ASSERT_TRUE(waitUntil([&]() { return lastSelection(session).find("review: 0 selected") == 0; },
                          30000));
    ASSERT_EQ(key("Escape"), 0);
    ASSERT_TRUE(waitUntil([]() { return !questionWindow().empty(); }, 30000)) << "no question on closing";
    ASSERT_EQ(answerYes(), 0);
    int code = -1;
    ASSERT_TRUE(session.viewer().waitFor(60000, code)) << "the viewer did not close";
    EXPECT_EQ(code, 0);

    // A fresh start: place 1 is back from the service, the file fills place 2.
    ASSERT_EQ(session.startSignedIn(), "");
    park();
    const QImage again = session.steadyScreenshot("review-again");
    // A menu opens from the active window only.
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", session.windowId()}), 0);
    ASSERT_EQ(click(one.x(), one.y(), "3"), 0);
    ASSERT_TRUE(waitUntil([]() { return !menuWindow().empty(); }, 30000)) << "no menu";
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", menuWindow(), "key", "Up", "Return"}), 0);
    ASSERT_TRUE(waitUntil([]() { return !fileDialog().empty(); }, 30000)) << "no file dialog";
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", fileDialog(), "type", "--delay", "20", bcf}), 0);
    ASSERT_EQ(ViewerSession::xdotool({"key", "Return"}), 0);
    park();
    const QImage imported = changedIn(again, thumbnailInside(2), 4.0, "review-imported");
    ASSERT_FALSE(imported.isNull()) << "place 2 stayed empty";
    // The imported picture is the exported one.
    EXPECT_LT(meanDifference(imported.copy(thumbnailInside(1)), imported.copy(thumbnailInside(2))), 3.0);

    // Chosen, the imported view selects the roof again.
    ASSERT_EQ(key("2"), 0);
    ASSERT_TRUE(waitUntil([&]() { return lastSelection(session) == roof; }, 30000)) << lastSelection(session);
    ASSERT_FALSE(changedIn(imported, kPanel, 20.0, "review-selected-again").isNull()) << "no property panel";
}
