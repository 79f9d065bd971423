// Frames only when something changed, with the FZK house from velda-service:
// the viewer program rests on the processor once ready; in a window of this
// process it draws nothing while still, and an orbit, a slider of the
// setting panel, the sun dial and a mini map flight each bring frames back,
// the flight stepping on the GUI thread; the specified clock keeps drawing.
// Printed: the program's share of a core over 10 idle seconds with and
// without the specified clock, and frames a second while orbiting.
// The program runs first: its X connection would come while the server
// resets after this process's window has gone.
#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/FlightTimer.h"
#include "UserInterface/Widgets/FrameScheduler.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetGraphicsView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "assets/AssetManager.h"
#include "render/Context3d.h"
#include "scene/Camera.h"

#include "ViewerSession.h"
#include "ViewerTestSupport.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QSlider>
#include <QTest>
#include <QThread>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace VeldaClient;
using namespace VeldaTest;

namespace {

// Waits until the scheduler rests and no frame has come for a second.
bool waitForRest(const FrameScheduler* frames, int timeoutMs)
{
    uint64_t seen = frames->frames();
    QElapsedTimer quiet;
    quiet.start();
    return QTest::qWaitFor(
        [&]() {
            if (frames->frames() != seen) {
                seen = frames->frames();
                quiet.restart();
            }
            return frames->resting() && quiet.elapsed() >= 1000;
        },
        timeoutMs);
}

// Waits for a frame after `before`.
bool waitForFrame(const FrameScheduler* frames, uint64_t before)
{
    return QTest::qWaitFor([&]() { return frames->frames() > before; }, 60000);
}

QPointF onDial(float angle, float radius, QPointF centre)
{
    return centre + QPointF(radius * std::sin(angle), -radius * std::cos(angle));
}

std::vector<float> transformOf(Velda::Camera* camera)
{
    const Velda::Matrix4& m = camera->getTransform();
    return std::vector<float>(m.m, m.m + 16);
}

// Processor seconds (user and system) a process has used so far.
double cpuSeconds(int pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t close = stat.rfind(')');
    if (close == std::string::npos)
        return 0.0;
    // After the name: the state is field 3; utime and stime are 14 and 15.
    std::istringstream fields(stat.substr(close + 2));
    std::string skip;
    for (int i = 3; i < 14; ++i)
        fields >> skip;
    unsigned long long utime = 0, stime = 0;
    fields >> utime >> stime;
    return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The share of one core the process used over the next `ms`.
double cpuShare(int pid, int ms)
{
    const double before = cpuSeconds(pid);
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    return (cpuSeconds(pid) - before) * 1000.0 / ms;
}

} // namespace

TEST(FramesEndToEnd, theViewerProgramRestsOnTheProcessorOnceReady)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    double share[2] = {};
    // First with the specified clock, for comparison; then as users run it.
    for (int faithful : {1, 0}) {
        std::unique_ptr<ScopedEnv> clock;
        if (faithful)
            clock.reset(new ScopedEnv("VELDA_FAITHFUL", "1"));
        ASSERT_EQ(session.startSignedIn(180000), "");
        const int pid = session.viewer().pid();
        // The last frames of the start; the specified clock never comes to rest.
        if (!faithful)
            EXPECT_TRUE(waitUntil([pid]() { return cpuShare(pid, 1000) < 0.1; }, 60000));
        share[faithful] = cpuShare(pid, 10000);
        int code = -1;
        ASSERT_EQ(session.client({"quit"}), 0);
        ASSERT_TRUE(session.viewer().waitFor(10000, code));
        EXPECT_EQ(code, 0);
    }
    std::printf("velda-viewer over 10 idle seconds after ready: %.1f %% of a core, %.1f %% with the specified "
                "20 ms clock (VELDA_FAITHFUL=1)\n",
                share[0] * 100.0, share[1] * 100.0);
    EXPECT_LT(share[0], 0.2);
}

TEST(FramesEndToEnd, restsWhenStillAndDrawsForAnOrbitASliderTheDialAndAFlight)
{
    if (!underX())
        GTEST_SKIP() << "needs an X display";
    ViewerSession session;
    session.login();
    ASSERT_FALSE(initializeProjectContext());
    int argc = 1;
    char name[] = "e2e_frames";
    char* argv[] = {name, nullptr};
    ApplicationMain application(argc, argv);
    GraphicsContext* hub = GraphicsContext::instance();
    hub->setApplication(&application);
    std::unique_ptr<FormMain> form(new FormMain());
    form->resize(1024, 700);
    form->show();
    WidgetGraphicsScene* scene = form->centralView()->graphicsScene();
    const FrameScheduler* frames = scene->frameScheduler();
    WidgetUIWrapper* overlay = scene->uiWrapper();
    ASSERT_TRUE(QTest::qWaitFor(
        []() {
            Velda::AssetManager* assets = Velda::AssetManager::instance();
            return assets && assets->isReady();
        },
        180000))
        << "the house did not get ready";
    Velda::Context3d* context3d = hub->context3d();
    Velda::Camera* camera = hub->camera();

    // Still: nothing is drawn.
    ASSERT_TRUE(waitForRest(frames, 60000));
    uint64_t before = frames->frames();
    QTest::qWait(3000);
    EXPECT_LE(frames->frames() - before, 1u) << "frames while nothing changed";

    // A left drag in the view orbits, at half size while it moves and then
    // once at full size.
    QWidget* view = form->centralView()->graphicsView()->viewport();
    const QPoint middle = view->rect().center();
    const std::vector<float> start = transformOf(camera);
    before = frames->frames();
    const uint64_t reducedBefore = frames->reducedFrames();
    sendMouse(view, QEvent::MouseButtonPress, middle, Qt::LeftButton);
    QElapsedTimer orbit;
    orbit.start();
    for (int i = 1; orbit.elapsed() < 4000; ++i) {
        sendMouse(view, QEvent::MouseMove, middle + QPoint(static_cast<int>(80 * std::sin(i * 0.2)), 0),
                  Qt::LeftButton);
        QTest::qWait(15);
    }
    const double orbitSeconds = orbit.elapsed() / 1000.0;
    const uint64_t orbitFrames = frames->frames() - before;
    const uint64_t orbitReduced = frames->reducedFrames() - reducedBefore;
    sendMouse(view, QEvent::MouseButtonRelease, middle, Qt::NoButton);
    std::printf("orbiting: %llu frames in %.1f s, %.1f frames a second, %llu at half size\n",
                static_cast<unsigned long long>(orbitFrames), orbitSeconds, orbitFrames / orbitSeconds,
                static_cast<unsigned long long>(orbitReduced));
    EXPECT_GE(orbitFrames, 2u);
    EXPECT_NE(transformOf(camera), start);
    ASSERT_TRUE(waitForRest(frames, 60000));
    if (frames->fastNavigation())
        EXPECT_GT(frames->reducedFrames(), reducedBefore);
    EXPECT_EQ(frames->lastScale(), 1.0f);
    std::printf("a full frame renders in %.0f ms\n", context3d->stats.renderMs);

    // A slider of the setting panel.
    QSlider* shade = overlay->settingPanel()->findChildren<QSlider*>().value(2);
    ASSERT_TRUE(shade);
    before = frames->frames();
    shade->triggerAction(QAbstractSlider::SliderPageStepAdd);
    EXPECT_TRUE(waitForFrame(frames, before)) << "no frame for the slider";
    ASSERT_TRUE(waitForRest(frames, 60000));

    // The sun dial: a hovered handle lights up, a drag turns the sun.
    WidgetEnvironmentControl* dial = overlay->sunDial();
    const float lr = dial->lr();
    const QPointF handle = onDial(lr, WidgetEnvironmentControl::kInnerRadius, QPointF(67, 67));
    before = frames->frames();
    sendMouse(dial, QEvent::MouseMove, handle, Qt::NoButton);
    ASSERT_TRUE(context3d->innerDialHot);
    EXPECT_TRUE(waitForFrame(frames, before)) << "no frame for the hovered handle";
    ASSERT_TRUE(waitForRest(frames, 60000));
    before = frames->frames();
    sendMouse(dial, QEvent::MouseButtonPress, handle, Qt::LeftButton);
    const QPointF dragCentre((dial->width() - 20) / 2, (dial->height() - 8) / 2);
    for (float a = lr + 0.05f; a < lr + 0.5f; a += 0.05f) {
        sendMouse(dial, QEvent::MouseMove, onDial(a, 30.0f, dragCentre), Qt::LeftButton);
        QTest::qWait(15);
    }
    sendMouse(dial, QEvent::MouseButtonRelease, onDial(lr + 0.45f, 30.0f, dragCentre), Qt::NoButton);
    EXPECT_NE(context3d->azimuthAngle, lr);
    EXPECT_TRUE(waitForFrame(frames, before)) << "no frame for the dial";
    ASSERT_TRUE(waitForRest(frames, 60000));

    // A double click on the mini map flies there, on the GUI thread.
    WidgetMiniMap* map = overlay->miniMap();
    const std::vector<float> beforeFlight = transformOf(camera);
    before = frames->frames();
    QTest::mouseDClick(map, Qt::LeftButton, Qt::NoModifier, QPoint(30, 20));
    FlightTimer* flight = map->findChild<FlightTimer*>();
    ASSERT_TRUE(flight && hub->flying());
    bool offThread = false;
    QObject::connect(
        flight, &FlightTimer::stepped, flight,
        [&offThread](int) { offThread = offThread || QThread::currentThread() != qApp->thread(); },
        Qt::DirectConnection);
    ASSERT_TRUE(QTest::qWaitFor([hub]() { return !hub->flying(); }, 60000));
    EXPECT_FALSE(offThread);
    EXPECT_NE(transformOf(camera), beforeFlight);
    EXPECT_TRUE(waitForFrame(frames, before)) << "no frame for the flight";
    ASSERT_TRUE(waitForRest(frames, 60000));
    EXPECT_EQ(frames->lastScale(), 1.0f);

    // The specified clock draws on with nothing changing, at full size.
    context3d->faithful = true;
    hub->requestFrame();
    before = frames->frames();
    EXPECT_TRUE(QTest::qWaitFor([&]() { return frames->frames() >= before + 3; }, 60000));
    EXPECT_FALSE(frames->resting());
    context3d->faithful = false;
    EXPECT_TRUE(waitForRest(frames, 60000));
    form.reset();
}
