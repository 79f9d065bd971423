// Saved views as a user keeps them, on the X server of the run against
// velda-service: two views taken with Space around a drag of the time dial
// and saved with Ctrl+S; the service holds the record, both thumbnails and
// the camera script. Started again, the viewer shows both thumbnails and
// key 1 flies back to the first view's picture; a save without a change
// uploads nothing; a deleted view leaves the record; closing with a
// changed view asks, and "yes" saves before the window closes.
#include "ViewerScreen.h"
#include "ViewerSession.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <rapidjson/document.h>

#include <QCryptographicHash>

#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <thread>

using namespace VeldaTest;

namespace {

// The picture between the overlay's widgets: right of the menu, left of
// the take-view button, above the gallery.
const QRect kPicture(300, 100, 600, 440);

// The sun dial's outer handle starts at 3 pi / 4 on a radius of 52 about
// the dial's middle (67, 67); the dial stands at (w - 154, h - 150).
QPoint dialPoint(const QRect& window, double angle, double radius)
{
    const double x = 1024 - 154 + 67 + radius * std::sin(angle);
    const double y = 28 + 672 - 150 + 67 - radius * std::cos(angle);
    return window.topLeft() + QPoint(static_cast<int>(x), static_cast<int>(y));
}

// A GET on the service as user 1001 of project 7; the body, or "".
std::string get(ViewerSession& session, const std::string& path)
{
    httplib::Client client(session.service().url());
    client.set_read_timeout(10, 0);
    const auto res = client.Get(path + (path.find('?') == std::string::npos ? "?" : "&") + session.service().common());
    return res && res->status == 200 ? res->body : std::string();
}

// A member of the JSON object the service answers `path` with.
std::string member(ViewerSession& session, const std::string& path, const char* name)
{
    rapidjson::Document d;
    d.Parse(get(session, path).c_str());
    return d.IsObject() && d.HasMember(name) ? d[name].GetString() : std::string();
}

rapidjson::Document parse(const std::string& text)
{
    rapidjson::Document d;
    d.Parse(text.c_str());
    return d;
}

} // namespace

TEST(SavedViewsEndToEnd, takeSaveRestoreFlyDeleteAndSaveOnClose)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    ASSERT_EQ(session.startSignedIn(), "");
    const QRect r = session.windowRect();
    auto key = [&](const std::string& keys) {
        ViewerSession::xdotool({"windowfocus", session.windowId()});
        return ViewerSession::xdotool({"key", keys});
    };
    auto saved = [&](int saves) {
        return waitUntil([&]() { return session.requests("POST /project/savecamera.action") >= saves; }, 30000);
    };
    auto record = [&]() { return member(session, "/project/get3drecordinfo.action", "recordinfo"); };
    auto uploads = [&]() { return session.requests("PUT /storage/put"); };
    // The screen once place `number` is the selected one.
    auto selecting = [&](int number, const std::string& name) {
        return once(session, [number](const QImage& shot) { return selected(shot, number); }, name);
    };

    // The start view shows the whole house: no step back. The pointer rests in the view.
    const std::string cx = std::to_string(r.x() + 600), cy = std::to_string(r.y() + 330);
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy}), 0);
    const QImage start = session.steadyScreenshot("start");

    // The time dial's outer handle, dragged from `from` to `to` (angles
    // clockwise from the top); the handle shows where it was left.
    auto dragDial = [&](double from, double to, const QImage& before, const std::string& name) {
        const QPoint handle = dialPoint(r, from, 52);
        std::vector<std::string> drag = {"mousemove", std::to_string(handle.x()), std::to_string(handle.y()),
                                         "sleep",     "0.5",                      "mousedown", "1"};
        for (int i = 1; i <= 4; ++i) {
            const QPoint p = dialPoint(r, from + (to - from) * i / 4, 48);
            drag.insert(drag.end(), {"sleep", "0.3", "mousemove", std::to_string(p.x()), std::to_string(p.y())});
        }
        drag.insert(drag.end(), {"mouseup", "1"});
        EXPECT_EQ(ViewerSession::xdotool(drag), 0);
        const QRect dial(1024 - 154, 28 + 672 - 150, 134, 134);
        return once(session, [&](const QImage& shot) { return meanDifference(before.copy(dial), shot.copy(dial)) > 1.0; },
                    name);
    };
    // The sun takes its first place from the dial: the view that a flight
    // returns to is lit from the dial's angles, not from the start's light.
    const QImage early = dragDial(3 * M_PI / 4, 2.6, start, "early");
    ASSERT_FALSE(early.isNull()) << "the dial's handle did not move";
    // A left drag turns away from the start view: view 1 is a place of its own.
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", cx, cy, "mousedown", "1", "mousemove",
                                      std::to_string(r.x() + 750), cy, "mouseup", "1"}),
              0);
    const QImage turned = once(
        session, [&](const QImage& shot) { return meanDifference(early.copy(kPicture), shot.copy(kPicture)) > 3.0; },
        "turned");
    ASSERT_FALSE(turned.isNull()) << "the drag did not turn the view";

    // View 1: its thumbnail appears in place 1.
    ASSERT_EQ(key("space"), 0);
    const QImage first = selecting(1, "view1");
    ASSERT_FALSE(first.isNull()) << "no thumbnail in place 1";

    // The dial dragged round to the left of the night.
    ASSERT_FALSE(dragDial(2.6, 4.1, first, "dial").isNull()) << "the dial's handle did not move";

    // View 2, then Ctrl+S.
    ASSERT_EQ(key("space"), 0);
    const QImage second = selecting(2, "view2");
    ASSERT_FALSE(second.isNull()) << "no thumbnail in place 2";
    ASSERT_EQ(key("ctrl+s"), 0);
    ASSERT_TRUE(saved(1)) << "no save reached the service";

    // The record, the two pictures with their MD5, and the script.
    const rapidjson::Document views = parse(record());
    ASSERT_TRUE(views.IsObject()) << record();
    EXPECT_EQ(views.MemberCount(), 2u);
    for (const char* number : {"1", "2"}) {
        ASSERT_TRUE(views.HasMember(number)) << number;
        const rapidjson::Document view = parse(views[number].GetString());
        ASSERT_TRUE(view.IsObject() && view.HasMember("img"));
        const std::string img = view["img"].GetString();
        ASSERT_EQ(img.size(), 36u) << img;
        const std::string png = get(session, "/project/downshoticon.action?path=" + img);
        const QByteArray md5 = QCryptographicHash::hash(QByteArray::fromStdString(png), QCryptographicHash::Md5);
        EXPECT_EQ(md5.toHex().toStdString() + ".png", img) << "the stored MD5 is not the picture's";
        EXPECT_EQ(QImage::fromData(QByteArray::fromStdString(png), "PNG").size(), QSize(120, 80));
    }
    EXPECT_EQ(uploads(), 2);
    const std::string script = member(session, "/project/getcamera.action", "camerainfo");
    EXPECT_EQ(script.rfind("select (for c in cameras collect c)\nif cameras.count > 0 do\n(delete $\n"
                           "clearSelection())\nTargetcamera name: \"QEMCam1\"",
                           0),
              0u)
        << script;
    EXPECT_NE(script.find("\nTargetcamera name: \"QEMCam2\""), std::string::npos);

    // The client quits: nothing is unsaved, so the viewer ends at once.
    ASSERT_EQ(session.client({"quit"}), 0);
    int code = -1;
    ASSERT_TRUE(session.viewer().waitFor(15000, code));
    EXPECT_EQ(code, 0);

    // Started again: both thumbnails are back, and 1 flies to the first view.
    ASSERT_EQ(session.startSignedIn(), "");
    // The thumbnails come with the window; the picture takes its frames.
    const QImage reopened = once(
        session,
        [&](const QImage& shot) {
            return meanDifference(second.copy(thumbnailInside(1)), shot.copy(thumbnailInside(1))) < 3.0;
        },
        "reopened");
    ASSERT_FALSE(reopened.isNull()) << "thumbnail 1 did not come back";
    EXPECT_GT(meanDifference(first.copy(thumbnailInside(2)), reopened.copy(thumbnailInside(2))), 4.0)
        << "thumbnail 2 did not come back";
    ASSERT_EQ(key("1"), 0);
    const QImage flown = selecting(1, "flown");
    ASSERT_FALSE(flown.isNull()) << "key 1 moved nothing";
    const double arrived = meanDifference(first.copy(kPicture), flown.copy(kPicture));
    const double away = meanDifference(first.copy(kPicture), reopened.copy(kPicture));
    EXPECT_LT(arrived, 3.0) << "the flight did not end at view 1";
    EXPECT_GT(away, 3.0 * arrived + 2.0) << "the start looks like view 1 already";

    // A save without a change posts the record and uploads nothing.
    ASSERT_EQ(key("ctrl+s"), 0);
    ASSERT_TRUE(saved(2));
    EXPECT_EQ(uploads(), 2);
    EXPECT_EQ(session.requests("GET /project/getshoticonuploadurl.action"), 2);

    // Delete view 2 from its menu, answer yes, save: the record has no "2".
    const QPoint two = r.topLeft() + thumbnail(2).center();
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", std::to_string(two.x()), std::to_string(two.y()), "click", "3"}),
              0);
    // The menu opens at the pointer, or above it when it does not fit below;
    // its first entry is "删除".
    ASSERT_TRUE(waitUntil([]() { return !menuWindow().empty(); }, 30000)) << "no menu";
    ASSERT_EQ(ViewerSession::xdotool({"mousemove", "--window", menuWindow(), "30", "12", "sleep", "0.3", "click", "1"}),
              0);
    ASSERT_TRUE(waitUntil([]() { return !questionWindow().empty(); }, 10000)) << "no question";
    ASSERT_EQ(answerYes(), 0);
    ASSERT_TRUE(waitUntil([]() { return questionWindow().empty(); }, 10000));
    ASSERT_EQ(key("ctrl+s"), 0);
    ASSERT_TRUE(saved(3));
    const rapidjson::Document pruned = parse(record());
    EXPECT_TRUE(pruned.IsObject() && pruned.HasMember("1") && !pruned.HasMember("2")) << record();

    // A new view in place 2, then Escape: the question, and yes saves it
    // before the window closes.
    ASSERT_EQ(key("space"), 0);
    ASSERT_FALSE(selecting(2, "retaken").isNull());
    ASSERT_EQ(key("Escape"), 0);
    ASSERT_TRUE(waitUntil([]() { return !questionWindow().empty(); }, 10000)) << "no question on closing";
    ASSERT_EQ(answerYes(), 0);
    ASSERT_TRUE(session.viewer().waitFor(30000, code)) << "the viewer did not close";
    EXPECT_EQ(code, 0);
    EXPECT_EQ(session.requests("POST /project/savecamera.action"), 4);
    const rapidjson::Document last = parse(record());
    EXPECT_TRUE(last.IsObject() && last.HasMember("1") && last.HasMember("2")) << record();
    EXPECT_EQ(uploads(), 3);
}
