// velda-viewer FILE as a user runs it, on the X server of the run, with no
// companion client and a service that must never be asked: the FZK house's
// IFC file with an empty application data folder shows the whole house
// without a wheel step; a view taken and saved is back at the next start,
// which packs nothing; the packed sample's folder opens as it is. A
// missing file, a folder without an index and a file that is no model give
// one message and exit code 1, and cancelling a long packing leaves
// nothing behind. Prints the time from the command to the first picture,
// cold and warm.
#include "Process.h"
#include "TempDir.h"
#include "ViewerScreen.h"
#include "ViewerSession.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

using namespace VeldaTest;
namespace fs = std::filesystem;

namespace {

const std::string kHouse = "/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc";

// The whole house in the middle of the view: the middle is neither the sky
// above it nor blank (white, as inside the house, or the clear colour).
bool houseShown(const QImage& shot)
{
    if (shot.isNull() || shot.width() < 1024 || shot.height() < 700)
        return false;
    const QRect view(0, 28, shot.width(), shot.height() - 28);
    const QRgb sky = meanColour(shot, QRect(480, view.top() + 10, view.width() - 620, 40));
    const QRect middle(view.center() - QPoint(120, 60), QSize(240, 120));
    const QRgb mean = meanColour(shot, middle);
    return shareUnlike(shot, middle, sky) > 0.5 && colourDistance(mean, qRgb(255, 255, 255)) > 12 &&
           colourDistance(mean, qRgb(134, 188, 250)) > 12;
}

// Seconds from `start` until the house is on the screen; a negative value
// when it never is.
double secondsToHouse(ViewerSession& session, std::chrono::steady_clock::time_point start, const std::string& name)
{
    if (!session.findWindow(60000))
        return -1.0;
    QImage shot;
    if (!waitUntil([&]() { return houseShown(shot = session.screenshot(name)); }, 120000))
        return -1.0;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The folders below Models/<version>/: packed projects and staging folders.
std::vector<fs::path> packedFolders(const std::string& appData)
{
    std::vector<fs::path> found;
    std::error_code ec;
    for (const auto& version : fs::directory_iterator(appData + "Models", ec))
        for (const auto& entry : fs::directory_iterator(version.path(), ec))
            found.push_back(entry.path());
    return found;
}

// The saved-view record kept for the model, or "".
std::string localRecord(const std::string& database)
{
    sqlite3* db = nullptr;
    std::string record;
    if (sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* select = nullptr;
        if (sqlite3_prepare_v2(db, "SELECT record FROM views", -1, &select, nullptr) == SQLITE_OK &&
            sqlite3_step(select) == SQLITE_ROW)
            record = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
        sqlite3_finalize(select);
    }
    sqlite3_close(db);
    return record;
}

// The viewer's own lines on its error stream ("velda-viewer: ...").
std::vector<std::string> viewerLines(const std::string& errors)
{
    std::vector<std::string> lines;
    std::istringstream in(errors);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("velda-viewer: ", 0) == 0)
            lines.push_back(line);
    return lines;
}

int visibleViewerWindows()
{
    std::string ids;
    ViewerSession::xdotool({"search", "--onlyvisible", "--class", "velda-viewer"}, &ids);
    return static_cast<int>(std::count(ids.begin(), ids.end(), '\n'));
}

// Ends the viewer with Escape (nothing unsaved: no question); its exit code.
int escape(ViewerSession& session)
{
    ViewerSession::xdotool({"windowfocus", session.windowId()});
    ViewerSession::xdotool({"key", "Escape"});
    int code = -1;
    return session.viewer().waitFor(30000, code) ? code : -100;
}

} // namespace

TEST(OpenFileEndToEnd, theHouseFileOpensWholeKeepsItsViewsAndPacksOnce)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;  // no one signed in; its service must never be asked
    const std::string appData = session.appData();

    auto begin = std::chrono::steady_clock::now();
    session.startViewer({kHouse});
    const double cold = secondsToHouse(session, begin, "cold");
    ASSERT_GT(cold, 0.0) << "the house did not show without a wheel step\n" << session.viewerErrors();
    const std::vector<fs::path> packed = packedFolders(appData);
    ASSERT_EQ(packed.size(), 1u);
    ASSERT_TRUE(exists(packed[0].string() + "/index"));
    EXPECT_EQ(packed[0].filename().string().size(), 64u) << "named by its SHA-256";
    struct stat first {};
    ASSERT_EQ(stat(packed[0].c_str(), &first), 0);

    // A view taken and saved goes into the local database.
    const QImage before = session.steadyScreenshot("before");
    ViewerSession::xdotool({"windowfocus", session.windowId()});
    ASSERT_EQ(ViewerSession::xdotool({"key", "space"}), 0);
    const QImage taken = once(
        session,
        [&](const QImage& shot) {
            return selected(shot, 1) &&
                   meanDifference(before.copy(thumbnailInside(1)), shot.copy(thumbnailInside(1))) > 4.0;
        },
        "taken");
    ASSERT_FALSE(taken.isNull()) << "no thumbnail in place 1";
    ASSERT_EQ(ViewerSession::xdotool({"key", "ctrl+s"}), 0);
    const std::string database = appData + "SavedViews.db";
    ASSERT_TRUE(waitUntil([&]() { return localRecord(database).find("\"1\"") != std::string::npos; }, 30000))
        << "the view was not saved";
    EXPECT_EQ(escape(session), 0);

    // Again: nothing packed, the house and the view are back.
    begin = std::chrono::steady_clock::now();
    session.startViewer({kHouse});
    const double warm = secondsToHouse(session, begin, "warm");
    ASSERT_GT(warm, 0.0) << session.viewerErrors();
    EXPECT_EQ(packedFolders(appData), packed) << "a second folder or a staging folder";
    struct stat again {};
    ASSERT_EQ(stat(packed[0].c_str(), &again), 0);
    EXPECT_EQ(again.st_ino, first.st_ino) << "packed again";
    EXPECT_EQ(again.st_mtim.tv_nsec, first.st_mtim.tv_nsec);
    // The same start view behind it: place 1 differs from the empty place of the first start.
    const QImage back = once(
        session,
        [&](const QImage& shot) {
            return meanDifference(before.copy(thumbnailInside(1)), shot.copy(thumbnailInside(1))) > 4.0;
        },
        "back");
    EXPECT_FALSE(back.isNull()) << "the saved view did not come back";
    EXPECT_EQ(escape(session), 0);
    std::printf("open-file: the FZK house's first picture %.1f s after the command cold (packed), %.1f s warm\n",
                cold, warm);

    // The packed sample's folder opens where it lies.
    begin = std::chrono::steady_clock::now();
    session.startViewer({std::string(SAMPLES_PATH) + "/fzk-haus"});
    EXPECT_GT(secondsToHouse(session, begin, "folder"), 0.0) << session.viewerErrors();
    EXPECT_EQ(escape(session), 0);

    // No request reached the service, and nothing went into the disk cache.
    EXPECT_EQ(session.requests("GET /project"), 0);
    EXPECT_EQ(session.requests("POST /project"), 0);
    EXPECT_EQ(fileText(appData + "Cache/Cache.config"), "");
    EXPECT_FALSE(exists(appData + "Cache/cache_1"));
}

TEST(OpenFileEndToEnd, whatCannotBeOpenedGivesOneMessageAndExitOne)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    TempDir dir;
    std::ofstream(dir.file("not-a-model.ifc")) << "This is a letter, not a building.\n";
    fs::create_directory(dir.file("no-project"));
    std::ofstream(dir.file("no-project/readme.txt")) << "no index here\n";

    // The command line itself: the usage, and two models refused before any window.
    const ProcessResult help = runProcess({VELDA_VIEWER_PATH, "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out.rfind("usage: velda-viewer", 0), 0u) << help.out;
    const ProcessResult two = runProcess({VELDA_VIEWER_PATH, dir.file("a.ifc"), dir.file("b.ifc")});
    EXPECT_EQ(two.exitCode, 2);
    EXPECT_EQ(two.err.rfind("velda-viewer: one model at a time", 0), 0u) << two.err;

    for (const std::string& model : {dir.file("missing.ifc"), dir.file("no-project"), dir.file("not-a-model.ifc")}) {
        SCOPED_TRACE(model);
        session.startViewer({model});
        ASSERT_TRUE(waitUntil([]() { return !questionWindow().empty(); }, 60000)) << "no message";
        EXPECT_EQ(visibleViewerWindows(), 1) << "the message is the one window";
        ASSERT_EQ(answerYes(), 0);
        int code = -1;
        ASSERT_TRUE(session.viewer().waitFor(15000, code));
        EXPECT_EQ(code, 1);
        const std::vector<std::string> lines = viewerLines(session.viewerErrors());
        ASSERT_EQ(lines.size(), 1u) << session.viewerErrors();
        EXPECT_NE(lines[0].find(model), std::string::npos) << lines[0];
        EXPECT_TRUE(packedFolders(session.appData()).empty()) << "something half-written";
        EXPECT_FALSE(exists(session.appData() + "SavedViews.db"));
    }
}

TEST(OpenFileEndToEnd, cancellingALongPackingLeavesNothing)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    TempDir dir;
    // A million triangles in a grid: the importer takes seconds to read them.
    {
        std::ofstream obj(dir.file("field.obj"));
        const int n = 708;
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                obj << "v " << x << ' ' << y << ' ' << ((x * 7 + y * 13) % 5) << '\n';
        for (int y = 0; y + 1 < n; ++y)
            for (int x = 0; x + 1 < n; ++x) {
                const int a = y * n + x + 1, b = a + 1, c = a + n, d = c + 1;
                obj << "f " << a << ' ' << b << ' ' << d << "\nf " << a << ' ' << d << ' ' << c << '\n';
            }
    }
    session.startViewer({dir.file("field.obj")});
    std::string progress;
    ASSERT_TRUE(waitUntil(
        [&]() { return ViewerSession::xdotool({"search", "--onlyvisible", "--name", "打开模型"}, &progress) == 0; },
        60000))
        << "no progress window";
    ASSERT_TRUE(waitUntil([&]() { return !packedFolders(session.appData()).empty(); }, 30000))
        << "no staging folder to pack into";
    progress = progress.substr(0, progress.find('\n'));
    ASSERT_EQ(ViewerSession::xdotool({"windowfocus", "--sync", progress, "key", "Escape"}), 0);
    int code = -1;
    ASSERT_TRUE(session.viewer().waitFor(30000, code));
    EXPECT_EQ(code, 1);
    EXPECT_TRUE(packedFolders(session.appData()).empty()) << "the packer's work was left behind";
    const std::vector<std::string> lines = viewerLines(session.viewerErrors());
    ASSERT_EQ(lines.size(), 1u) << session.viewerErrors();
    EXPECT_NE(lines[0].find("cancelled"), std::string::npos) << lines[0];
}
