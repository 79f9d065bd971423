// The overlay: mini map framing, marker and flight; the sun dial's hit tests
// and dragging; the wrapper's placement, status texts, exit flow and client
// poll; the message box, the information line and the progress bar.
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetInformation.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetProgressBar.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include "ViewerTestMain.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>

#include <cmath>
#include <memory>

using namespace VeldaClient;
using Velda::Vector3;

namespace {

void sendMouse(QWidget* target, QEvent::Type type, QPointF at, Qt::MouseButtons buttons, bool* accepted = nullptr)
{
    QMouseEvent event(type, at, target->mapToGlobal(at.toPoint()),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
    if (accepted)
        *accepted = event.isAccepted();
}

// The point of a dial handle at `angle`, clockwise from the top, `radius`
// from the dial's middle.
QPointF onDial(float angle, float radius, QPointF centre = QPointF(67, 67))
{
    return centre + QPointF(radius * std::sin(angle), -radius * std::cos(angle));
}

// Answers the box once it shows, by a key or one of its buttons.
void answerLater(WidgetMessageBox* box, std::function<void(WidgetMessageBox*)> answer)
{
    QTimer* poll = new QTimer(box);
    QObject::connect(poll, &QTimer::timeout, [box, poll, answer]() {
        if (!box->isVisible() || QApplication::activeModalWidget() != box)
            return;
        poll->deleteLater();
        answer(box);
    });
    poll->start(20);
}

} // namespace

class OverlayTest : public QObject {
    Q_OBJECT

private slots:
    void init() { GraphicsContext::instance()->setApplication(static_cast<ApplicationMain*>(qApp)); }
    void cleanup()
    {
        QThreadPool::globalInstance()->waitForDone();
        GraphicsContext::destroyInstance();
    }

    void miniMapFramesTheGrowingSceneAndPlacesThePivotMarker()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        WidgetMiniMap map;
        hub->scene()->extendBounds(Velda::AABB3(Vector3(-2, -1, 0), Vector3(2, 1, 1)));
        const Velda::Camera mapCamera = map.frameCamera();
        QCOMPARE(mapCamera.getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
        // The live camera stands above and behind the middle, looking at it.
        QCOMPARE(hub->camera()->getPosition(), Vector3(0.0f, 1.0f, 1.5f));
        QCOMPARE(hub->orbitPivot(), Vector3(0, 0, 0));
        QCOMPARE(map.marker()->pos(), QPoint(53, 33));

        // Bounds (-2, 2, -4/3, 4/3): x runs mirrored, y upwards.
        hub->setOrbitPivot(Vector3(0.33f, 0.21f, 0.0f));
        QCOMPARE(map.marker()->pos(), QPoint(43, 39));
        hub->setOrbitPivot(Vector3(-2.0f, 0.21f, 0.0f));
        QCOMPARE(map.marker()->pos(), QPoint(113, 39));

        // An unchanged box leaves the user's view alone; a grown one frames again.
        hub->camera()->setPosition(5.0f, 5.0f, 5.0f);
        map.frameCamera();
        QCOMPARE(hub->camera()->getPosition(), Vector3(5.0f, 5.0f, 5.0f));
        hub->scene()->extendBounds(Velda::AABB3(Vector3(0, 0, 0), Vector3(4, 1, 1)));
        map.frameCamera();
        QCOMPARE(hub->camera()->getPosition(), Vector3(1.0f, 1.0f, 1.5f));
    }

    void anEmptySceneIsFramedAgainEveryFrame()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        WidgetMiniMap map;
        map.frameCamera();
        QCOMPARE(hub->camera()->getPosition(), Vector3(0.0f, 1.0f, 1.0f));
        hub->camera()->setPosition(3.0f, 0.0f, 2.0f);
        map.frameCamera();
        QCOMPARE(hub->camera()->getPosition(), Vector3(0.0f, 1.0f, 1.0f));
    }

    void doubleClickFliesToTheGroundPointUnderThePointer()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        WidgetMiniMap map;
        hub->scene()->extendBounds(Velda::AABB3(Vector3(-2, -1, 0), Vector3(2, 1, 1)));
        map.frameCamera();
        const Vector3 start = hub->camera()->getPosition();

        // The map is turned by pi: its x runs against the world's; its y
        // runs down the world's y as the marker's does.
        QTest::mouseDClick(&map, Qt::LeftButton, Qt::NoModifier, QPoint(30, 20));
        const Vector3 target = hub->orbitPivot();
        QVERIFY((target - Vector3(1.0f, -2.0f / 3.0f, 0.0f)).length() < 1e-3f);
        QVERIFY((map.marker()->pos() - QPoint(30 - 7, 20 - 7)).manhattanLength() <= 2);
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY((hub->camera()->getPosition() - (start + target)).length() < 1e-3f);
        // The flight ends looking at the new pivot.
        const Velda::Vector4 back = hub->camera()->getTransform().getColumn(2);
        const Vector3 toTarget = (target - hub->camera()->getPosition()).normalized();
        QVERIFY((Vector3(-back.x, -back.y, -back.z) - toTarget).length() < 1e-3f);

        // Presses on the map never reach the scene.
        bool accepted = false;
        sendMouse(&map, QEvent::MouseButtonPress, QPointF(30, 30), Qt::LeftButton, &accepted);
        QVERIFY(accepted);
    }

    void dialHandlesAreHitOnTheirRingsNearTheirAngles()
    {
        WidgetEnvironmentControl dial;
        dial.setFixedSize(134, 134);
        const float lr = dial.lr();
        const float tr = dial.tr();
        QVERIFY(dial.overLrHandle(onDial(lr, 26.0f)));
        QVERIFY(dial.overLrHandle(onDial(lr + 0.25f, 36.0f)));
        QVERIFY(!dial.overLrHandle(onDial(lr, 37.5f)));
        QVERIFY(!dial.overLrHandle(onDial(lr + 0.35f, 26.0f)));
        QVERIFY(dial.overTrHandle(onDial(tr, 52.0f)));
        QVERIFY(dial.overTrHandle(onDial(tr - 0.15f, 43.0f)));
        QVERIFY(!dial.overTrHandle(onDial(tr, 63.0f)));
        QVERIFY(!dial.overTrHandle(onDial(tr + 0.25f, 52.0f)));
        QVERIFY(!dial.overTrHandle(onDial(lr, 26.0f)));
        // Clockwise from the top.
        QVERIFY(std::abs(WidgetEnvironmentControl::angleOf(QPointF(77, 67), QPointF(67, 67)) - 1.5707963f) < 1e-5f);
        QVERIFY(std::abs(WidgetEnvironmentControl::angleOf(QPointF(57, 67), QPointF(67, 67)) - 4.712389f) < 1e-5f);

        // Hovering lights the handle in the renderer's overlay.
        Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
        sendMouse(&dial, QEvent::MouseMove, onDial(tr, 52.0f), Qt::NoButton);
        QVERIFY(context3d->outerDialHot && !context3d->innerDialHot);
        sendMouse(&dial, QEvent::MouseMove, onDial(lr, 26.0f), Qt::NoButton);
        QVERIFY(context3d->innerDialHot && !context3d->outerDialHot);
        sendMouse(&dial, QEvent::MouseMove, QPointF(67, 67), Qt::NoButton);
        QVERIFY(!context3d->innerDialHot && !context3d->outerDialHot);

        // A press beside both handles starts nothing and stays on the dial.
        bool accepted = false;
        sendMouse(&dial, QEvent::MouseButtonPress, QPointF(67, 67), Qt::LeftButton, &accepted);
        QVERIFY(accepted);
        sendMouse(&dial, QEvent::MouseMove, QPointF(120, 67), Qt::LeftButton);
        QCOMPARE(dial.lr(), lr);
        QCOMPARE(dial.tr(), tr);
        sendMouse(&dial, QEvent::MouseButtonRelease, QPointF(120, 67), Qt::NoButton);
    }

    void draggingTheInnerHandlePastTheTopWrapsWithoutAJumpOfTheSun()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        hub->scene()->extendBounds(Velda::AABB3(Vector3(-2, -1, 0), Vector3(2, 1, 1)));
        WidgetEnvironmentControl dial;
        dial.setFixedSize(134, 134);
        dial.setLr(6.1f);
        Velda::Context3d* context3d = hub->context3d();
        QCOMPARE(context3d->azimuthAngle, 6.1f);

        // Dragging measures from its own centre.
        const QPointF centre((134 - 20) / 2, (134 - 8) / 2);
        sendMouse(&dial, QEvent::MouseMove, onDial(6.1f, 26.0f), Qt::NoButton);
        sendMouse(&dial, QEvent::MouseButtonPress, onDial(6.1f, 26.0f), Qt::LeftButton);
        Vector3 last = hub->spotLight()->getDirection();
        for (float a : {6.15f, 6.22f, 6.27f, 0.02f, 0.08f, 0.15f}) {
            sendMouse(&dial, QEvent::MouseMove, onDial(a, 30.0f, centre), Qt::LeftButton);
            QVERIFY(std::abs(dial.lr() - a) < 1e-4f);
            const Vector3 direction = hub->spotLight()->getDirection();
            QVERIFY((direction - last).length() < 0.1f);
            last = direction;
        }
        QVERIFY(std::abs(context3d->azimuthAngle - 0.15f) < 1e-4f);
        sendMouse(&dial, QEvent::MouseButtonRelease, onDial(0.15f, 30.0f, centre), Qt::NoButton);
        QVERIFY(!context3d->innerDialHot);
        // After the release the pointer moves the sun no more.
        sendMouse(&dial, QEvent::MouseMove, onDial(1.0f, 30.0f, centre), Qt::NoButton);
        QVERIFY(std::abs(dial.lr() - 0.15f) < 1e-4f);
    }

    void theWrapperPlacesItsCornersAndShowsTheCounts()
    {
        ProjectInfo* info = GraphicsContext::instance()->projectInfo();
        info->uploader = "李四";
        info->uploaderqemid = "1002";
        info->uploadtime = "2026-11-01 09:30";
        WidgetUIWrapper wrapper;
        wrapper.setFixedSize(1024, 672);
        wrapper.show();
        QVERIFY(QTest::qWaitForWindowExposed(&wrapper));
        QCOMPARE(wrapper.sunDial()->pos(), QPoint(1024 - 154, 672 - 150));
        QCOMPARE(wrapper.miniMap()->pos(), QPoint(1024 - 120 - 4, 4));
        Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
        QCOMPARE(context3d->dialMarginX, 20.0f);
        QCOMPARE(context3d->dialMarginY, 16.0f);
        wrapper.setFixedSize(800, 600);
        QTRY_COMPARE(wrapper.sunDial()->pos(), QPoint(800 - 154, 600 - 150));
        QCOMPARE(context3d->dialMarginX, 20.0f);

        QMetaObject::invokeMethod(&wrapper, "_updateModelPieceInfo", Q_ARG(unsigned long long, 1234567ULL));
        QCOMPARE(wrapper.faceCountLabel()->text(), QString("总面数：1234567"));
        QCOMPARE(wrapper.modelLabel()->text(), QString("模型上传:李四(1002)\t2026-11-01 09:30"));
        QTRY_VERIFY(wrapper.statusFrame()->geometry().bottom() == 599);

        emit wrapper.displayInfo("保存完毕!");
        QCOMPARE(wrapper.information()->text(), QString("保存完毕!"));
    }

    void escapeClosesTheViewerUnlessADialogHasIt()
    {
        WidgetUIWrapper wrapper;
        VeldaTest::CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        // Escape inside a message box answers the box, nothing more.
        WidgetMessageBox box(&window);
        answerLater(&box, [](WidgetMessageBox* b) { QTest::keyClick(b, Qt::Key_Escape); });
        QCOMPARE(box.ask("确定上传变更数据?", ""), static_cast<int>(WidgetMessageBox::kClosed));
        QVERIFY(!window.closed);
        answerLater(&box, [](WidgetMessageBox* b) { QTest::keyClick(b->findChild<QPushButton*>("YesConfirm"), Qt::Key_Escape); });
        QCOMPARE(box.ask("确定上传变更数据?", "由 张三"), static_cast<int>(WidgetMessageBox::kClosed));
        QVERIFY(!window.closed);

        // Elsewhere, with nothing unsaved, it closes at once.
        QTest::keyClick(&window, Qt::Key_Escape);
        QTRY_VERIFY(window.closed);
    }

    void aVanishedClientClosesTheViewer()
    {
        WidgetUIWrapper wrapper;
        VeldaTest::CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // Signed out (state 2) is not gone: the viewer stays.
        VeldaTest::environment().writeSession(2);
        QTest::qWait(1500);
        QVERIFY(!window.closed);
        VeldaTest::environment().writeSession(0);
        QTRY_VERIFY_WITH_TIMEOUT(window.closed, 5000);
        VeldaTest::environment().writeSession(1);
    }

    void messageBoxAnswersAndDragsOnlyByItsTop()
    {
        WidgetMessageBox box;
        answerLater(&box, [](WidgetMessageBox* b) { b->findChild<QPushButton*>("YesConfirm")->click(); });
        QCOMPARE(box.ask("确定替换当前选中项?", ""), static_cast<int>(WidgetMessageBox::kYes));
        answerLater(&box, [](WidgetMessageBox* b) { b->findChild<QPushButton*>("NoConfirm")->click(); });
        QCOMPARE(box.ask("确定替换当前选中项?", ""), static_cast<int>(WidgetMessageBox::kNo));

        QLabel* detail = nullptr;
        for (QLabel* label : box.findChildren<QLabel*>())
            if (label->property("DialogInfo").toBool())
                detail = label;
        QVERIFY(detail && detail->isHidden());

        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        box.move(200, 200);
        QTRY_COMPARE(box.pos(), QPoint(200, 200));
        sendMouse(&box, QEvent::MouseButtonPress, QPointF(100, 80), Qt::LeftButton);
        sendMouse(&box, QEvent::MouseMove, QPointF(140, 100), Qt::LeftButton);
        sendMouse(&box, QEvent::MouseButtonRelease, QPointF(140, 100), Qt::NoButton);
        QTest::qWait(50);
        QCOMPARE(box.pos(), QPoint(200, 200));
        sendMouse(&box, QEvent::MouseButtonPress, QPointF(100, 15), Qt::LeftButton);
        sendMouse(&box, QEvent::MouseMove, QPointF(140, 35), Qt::LeftButton);
        sendMouse(&box, QEvent::MouseButtonRelease, QPointF(140, 35), Qt::NoButton);
        QTRY_COMPARE(box.pos(), QPoint(240, 220));
        box.hide();
    }

    void informationStartsEveryMessageFromTransparent()
    {
        WidgetInformation information;
        information.show();
        information.display("数据保存中...");
        QTRY_VERIFY(information.opacity() > 0.2);
        information.display("保存完毕!");
        QCOMPARE(information.opacity(), 0.0);
        QCOMPARE(information.text(), QString("保存完毕!"));
    }

    void progressBarNeverLeavesTheFinishedState()
    {
        WidgetProgressBar bar;
        QLabel* status = bar.findChild<QLabel*>("StatusInfo");
        QProgressBar* inner = bar.findChild<QProgressBar*>("InnerProgressBar");
        QFrame* logo = bar.findChild<QFrame*>("FinishedLogo");
        QCOMPARE(status->text(), QString("下载索引..."));
        bar.setValue(0);
        QCOMPARE(status->text(), QString("下载索引..."));
        bar.setValue(42);
        QCOMPARE(status->text(), QString("加载资源..."));
        QCOMPARE(inner->value(), 42);
        QVERIFY(logo->isHidden());
        bar.setValue(100);
        QVERIFY(inner->isHidden() && status->isHidden() && !logo->isHidden());
        bar.setValue(30);
        QVERIFY(inner->isHidden() && status->isHidden() && !logo->isHidden());
    }
};

VELDA_VIEWER_TEST_MAIN(OverlayTest)
#include "OverlayTest.moc"
