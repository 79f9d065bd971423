// Frames on demand: the scheduler rests while the picture cannot change and
// asks for frames while it can (a change, busy jobs, a flight, the full frame
// owed after a move), at half size while the camera moves. A flight's steps
// run on the GUI thread and keep their half second when frames are slow.
// (The window's input and the continuous clock: e2e/FramesEndToEndTest.)
#include "UserInterface/Widgets/FlightTimer.h"
#include "UserInterface/Widgets/FrameScheduler.h"

#include "ViewerTestSupport.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>

#include <memory>
#include <vector>

using namespace VeldaClient;

namespace {

// The scheduler as the scene drives it, over a signature the test sets:
// wanted frames are drawn on the next turn of the event loop, several
// wishes in between making one frame, as Qt's paint does.
class Frames {
public:
    Frames() : scheduler([this]() { return state; })
    {
        state.camera = {0.0f, 0.0f, 1.0f};
        state.scene = {0.5f};
        clock.start();
        QObject::connect(&scheduler, &FrameScheduler::frameWanted, [this]() {
            if (pending)
                return;
            pending = true;
            QTimer::singleShot(0, &scheduler, [this]() { draw(); });
        });
    }

    void draw()
    {
        pending = false;
        scales.push_back(scheduler.frameStarting());
        scheduler.frameDrawn();
        drawnAt.push_back(clock.elapsed());
    }
    int count() const { return static_cast<int>(scales.size()); }
    // Resting, and no frame on its way.
    bool still() const { return scheduler.resting() && !pending; }
    void moveCamera() { state.camera[0] += 0.1f; }

    FrameSignature state;
    FrameScheduler scheduler;
    std::vector<float> scales;
    std::vector<qint64> drawnAt;
    QElapsedTimer clock;
    bool pending = false;
};

} // namespace

class FramesTest : public VeldaTest::ViewerTest {
    Q_OBJECT

private slots:
    void aStillPictureRestsAndOnlyAChangeOrBusyJobsDrawAgain()
    {
        Frames frames;
        frames.draw();
        QTRY_VERIFY(frames.still());
        // A check that finds the drawn picture draws nothing.
        frames.scheduler.poke();
        QTest::qWait(200);
        QVERIFY(frames.still());
        QCOMPARE(frames.count(), 1);

        frames.state.scene[0] = 0.7f;
        frames.scheduler.poke();
        QTRY_COMPARE(frames.count(), 2);
        QCOMPARE(frames.scales.back(), 1.0f);
        QTRY_VERIFY(frames.still());
        QCOMPARE(frames.count(), 2);

        // Busy jobs keep the clock running with nothing else changing.
        frames.state.busy = true;
        frames.scheduler.poke();
        QTRY_VERIFY(frames.count() >= 6);
        frames.state.busy = false;
        QTRY_VERIFY(frames.still());
        const int settled = frames.count();
        QTest::qWait(200);
        QCOMPARE(frames.count(), settled);

        // A stale screen draws whatever the signature says; a moved camera
        // still counts as moving.
        frames.scheduler.invalidate();
        QTRY_COMPARE(frames.count(), settled + 1);
        QCOMPARE(frames.scales.back(), 1.0f);
        frames.moveCamera();
        frames.scheduler.invalidate();
        QTRY_COMPARE(frames.count(), settled + 2);
        QCOMPARE(frames.scales.back(), FrameScheduler::kMovingScale);
    }

    void aMovingCameraDrawsHalfFramesThenOneFullFrameAfterItStops()
    {
        Frames frames;
        QVERIFY(frames.scheduler.fastNavigation());
        frames.draw();
        QTRY_VERIFY(frames.still());
        for (int i = 0; i < 3; ++i) {
            const int before = frames.count();
            frames.moveCamera();
            frames.scheduler.poke();
            QTRY_VERIFY(frames.count() > before);
            QCOMPARE(frames.scales[static_cast<size_t>(before)], FrameScheduler::kMovingScale);
        }
        QTRY_VERIFY(frames.still());
        QCOMPARE(frames.scheduler.reducedFrames(), uint64_t(3));
        // Then one full frame, no sooner than 0.3 s after the last half one.
        QCOMPARE(frames.scales.back(), 1.0f);
        const size_t last = frames.scales.size() - 1;
        QCOMPARE(frames.scales[last - 1], FrameScheduler::kMovingScale);
        QVERIFY(frames.drawnAt[last] - frames.drawnAt[last - 1] >= FrameScheduler::kSettleMilliseconds - 20);

        // A flight counts as moving, also between its steps.
        frames.state.flying = true;
        frames.scheduler.poke();
        QTRY_VERIFY(frames.count() >= 8);
        QCOMPARE(frames.scales.back(), FrameScheduler::kMovingScale);
        frames.state.flying = false;
        QTRY_VERIFY(frames.still());
        QCOMPARE(frames.scales.back(), 1.0f);

        // Without fast navigation every frame is full.
        frames.scheduler.setFastNavigation(false);
        const int before = frames.count();
        frames.moveCamera();
        frames.scheduler.poke();
        QTRY_VERIFY(frames.still() && frames.count() == before + 1);
        QCOMPARE(frames.scales.back(), 1.0f);
    }

    void aFlightStepsInOrderOnTheGuiThreadAndCatchesUpAfterASlowFrame()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        std::vector<int> steps;
        bool offThread = false;
        FlightTimer flight(
            [&](int i) {
                steps.push_back(i);
                offThread = offThread || QThread::currentThread() != qApp->thread();
            },
            FlightTimer::Going());
        QSignalSpy finished(&flight, &FlightTimer::finished);
        flight.start();
        QCOMPARE(steps.size(), size_t(1));
        QVERIFY(hub->flying());
        // A frame that holds the GUI thread longer than the whole flight:
        // the steps that fell due run at the next turn, all of them, in order.
        QThread::msleep(700);
        QCoreApplication::processEvents();
        QCOMPARE(steps.size(), size_t(100));
        for (int i = 0; i < 100; ++i)
            QCOMPARE(steps[static_cast<size_t>(i)], i);
        QCOMPARE(finished.count(), 1);
        QVERIFY(!flight.running() && !hub->flying() && !offThread);

        // Stopped by its guard, it takes no further step and ends.
        bool going = true;
        int taken = 0;
        FlightTimer stopped([&](int) { ++taken; }, [&]() { return going; });
        stopped.start();
        going = false;
        QTRY_VERIFY(!stopped.running());
        QCOMPARE(taken, 1);
        QVERIFY(!hub->flying());
    }
};

VELDA_VIEWER_TEST_MAIN(FramesTest)
#include "FramesTest.moc"
