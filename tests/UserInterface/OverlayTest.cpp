// The overlay: the mini map's pivot marker and flight; the sun dial's hit
// tests and dragging; the setting panel's sliders and the menu's switches
// and keys; Escape in a dialog and the client poll of the exit flow.
#include "UserInterface/Widgets/FlightTimer.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetSettingMenu.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "assets/AssetManager.h"
#include "render/Context3d.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"

#include "GLHarness.h"
#include "ViewerTestSupport.h"

#include <QSignalSpy>
#include <QSlider>
#include <QThread>
#include <QThreadPool>

#include <cmath>

using namespace VeldaClient;
using VeldaTest::sendMouse;
using Velda::Vector3;

Q_DECLARE_METATYPE(std::string)

namespace {

// The point of a dial handle at `angle`, clockwise from the top, `radius`
// from the dial's middle.
QPointF onDial(float angle, float radius, QPointF centre = QPointF(67, 67))
{
    return centre + QPointF(radius * std::sin(angle), -radius * std::cos(angle));
}

const Velda::AABB3 kHouse(Vector3(-2, -1, 0), Vector3(2, 1, 1));

std::string lastInfo(const QSignalSpy& spy)
{
    return spy.isEmpty() ? std::string() : spy.last().at(0).value<std::string>();
}

QPushButton* button(WidgetSettingMenu* menu, const char* name)
{
    return menu->findChild<QPushButton*>(name);
}

} // namespace

class OverlayTest : public VeldaTest::ViewerTest {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<std::string>("std::string"); }

    void theMarkerFollowsThePivotMirroredInXAndADoubleClickFliesThere()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        WidgetMiniMap map;
        hub->scene()->extendBounds(kHouse);
        map.frameCamera();
        const Vector3 start = hub->camera()->getPosition();
        QCOMPARE(map.marker()->pos(), QPoint(53, 33));
        // Bounds (-2, 2, -4/3, 4/3): x runs mirrored, y upwards.
        hub->setOrbitPivot(Vector3(0.33f, 0.21f, 0.0f));
        QCOMPARE(map.marker()->pos(), QPoint(43, 39));
        hub->setOrbitPivot(Vector3(-2.0f, 0.21f, 0.0f));
        QCOMPARE(map.marker()->pos(), QPoint(113, 39));
        hub->setOrbitPivot(Vector3(0, 0, 0));

        // The map's y runs down the world's y as the marker's does.
        QTest::mouseDClick(&map, Qt::LeftButton, Qt::NoModifier, QPoint(30, 20));
        const Vector3 target = hub->orbitPivot();
        QVERIFY((target - Vector3(1.0f, -2.0f / 3.0f, 0.0f)).length() < 1e-3f);
        QVERIFY((map.marker()->pos() - QPoint(30 - 7, 20 - 7)).manhattanLength() <= 2);
        // The flight steps on the GUI thread; none on the pool.
        FlightTimer* flight = map.findChild<FlightTimer*>();
        QVERIFY(flight && flight->running() && flight->stepsTaken() >= 1);
        bool offThread = false;
        QObject::connect(
            flight, &FlightTimer::stepped, flight,
            [&offThread](int) { offThread = offThread || QThread::currentThread() != qApp->thread(); },
            Qt::DirectConnection);
        QTRY_VERIFY(!hub->flying());
        QVERIFY(!offThread);
        QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
        QVERIFY((hub->camera()->getPosition() - (start + target)).length() < 1e-3f);
        // The flight ends looking at the new pivot.
        const Velda::Vector4 back = hub->camera()->getTransform().getColumn(2);
        const Vector3 toTarget = (target - hub->camera()->getPosition()).normalized();
        QVERIFY((Vector3(-back.x, -back.y, -back.z) - toTarget).length() < 1e-3f);
        // Presses on the map never reach the scene.
        QVERIFY(sendMouse(&map, QEvent::MouseButtonPress, QPointF(30, 30), Qt::LeftButton));
    }

    void dialHandlesAreHitOnTheirRingsNearTheirAngles()
    {
        WidgetEnvironmentControl dial;
        dial.setFixedSize(134, 134);
        const float lr = dial.lr(), tr = dial.tr();
        const struct {
            float angle, radius;
            bool inner, outer;
        } points[] = {{lr, 26.0f, true, false},  {lr + 0.25f, 36.0f, true, false}, {lr, 37.5f, false, false},
                      {lr + 0.35f, 26.0f, false, false}, {tr, 52.0f, false, true}, {tr - 0.15f, 43.0f, false, true},
                      {tr, 63.0f, false, false}, {tr + 0.25f, 52.0f, false, false}};
        // Hovering lights the handle in the renderer's overlay.
        Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
        for (const auto& p : points) {
            QCOMPARE(dial.overLrHandle(onDial(p.angle, p.radius)), p.inner);
            QCOMPARE(dial.overTrHandle(onDial(p.angle, p.radius)), p.outer);
            sendMouse(&dial, QEvent::MouseMove, onDial(p.angle, p.radius), Qt::NoButton);
            QVERIFY(context3d->innerDialHot == p.inner && context3d->outerDialHot == p.outer);
        }
        QVERIFY(std::abs(WidgetEnvironmentControl::angleOf(QPointF(57, 67), QPointF(67, 67)) - 4.712389f) < 1e-5f);

        // A press beside both handles starts nothing and stays on the dial.
        QVERIFY(sendMouse(&dial, QEvent::MouseButtonPress, QPointF(67, 67), Qt::LeftButton));
        sendMouse(&dial, QEvent::MouseMove, QPointF(120, 67), Qt::LeftButton);
        QCOMPARE(dial.lr(), lr);
        QCOMPARE(dial.tr(), tr);
    }

    void draggingTheInnerHandlePastTheTopWrapsWithoutAJumpOfTheSun()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        hub->scene()->extendBounds(kHouse);
        WidgetEnvironmentControl dial;
        dial.setFixedSize(134, 134);
        dial.setLr(6.1f);
        Velda::Context3d* context3d = hub->context3d();
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

    void eachSliderStartsAtTheEngineDefaultAndWritesItsOwnField()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Context3d* context3d = hub->context3d();
        const float near = hub->camera()->getNear(), speed = hub->rotationSpeed();
        WidgetSettingPanel panel;
        const QList<QSlider*> sliders = panel.findChildren<QSlider*>();
        const QList<QLabel*> labels = panel.findChildren<QLabel*>();
        auto values = [&labels]() {  // every second label is a row's value
            QStringList all;
            for (int i = 1; i < labels.size(); i += 2)
                all << labels[i]->text();
            return all;
        };
        QCOMPARE(values(), QStringList({"0", "中级", "0.45", "30", "0.21", "0.00"}));
        // No slot ran: the engine keeps its own values.
        QCOMPARE(hub->camera()->getNear(), near);
        QCOMPARE(hub->rotationSpeed(), speed);

        // The mappings behind the fields are the renderer's own.
        const int settings[] = {57, 0, 7, 100, 0, 250};
        for (int i = 0; i < 6; ++i)
            sliders[i]->setValue(settings[i]);
        QCOMPARE(values(), QStringList({"5", "关闭", "0.07", "100", "0.00", "0.50"}));
        QCOMPARE(hub->camera()->getNear(), static_cast<float>(57 / 500.0));
        QVERIFY(!hub->spotLight()->getCastShadow());
        QCOMPARE(context3d->shadowShade, 0.07f);
        QCOMPARE(hub->rotationSpeed(), 0.02f);
        QCOMPARE(context3d->bloomCoefficient, 0.0f);
        QCOMPARE(context3d->ssaoKernelSize, 48.0f);
        QStringList qualities;
        for (int level : {1, 3, 2}) {
            sliders[1]->setValue(level);
            qualities << values()[1];
        }
        QCOMPARE(qualities, QStringList({"低级", "高级", "中级"}));
    }

    void cameraTypeSwitchesByButtonAndByKeyButNotInADialog()
    {
        Velda::Camera* camera = GraphicsContext::instance()->camera();
        WidgetSettingMenu menu;
        QSignalSpy info(&menu, SIGNAL(displayInfo(std::string)));
        button(&menu, "CameraA")->click();
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
        QVERIFY(button(&menu, "CameraA")->isHidden() && !button(&menu, "CameraB")->isHidden());
        QCOMPARE(lastInfo(info), std::string("正交相机"));
        // C pressed in the message box is the box's.
        QWidget view, box;
        box.setObjectName("WidgetMessageBox");
        QTest::keyClick(&box, Qt::Key_C);
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
        QTest::keyClick(&view, Qt::Key_C);
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));
        QVERIFY(!button(&menu, "CameraA")->isHidden() && button(&menu, "CameraB")->isHidden());
        QCOMPARE(lastInfo(info), std::string("透视相机"));
    }

    void whiteModelWaitsForTheSceneAndBTogglesIt()
    {
        Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
        WidgetSettingMenu menu;
        QSignalSpy info(&menu, SIGNAL(displayInfo(std::string)));
        QWidget view;
        QTest::keyClick(&view, Qt::Key_B);
        QVERIFY(!context3d->whiteModel && info.isEmpty());
        // A scene with nothing left to load is ready.
        VeldaTest::GLContext gl;
        new Velda::AssetManager(context3d);
        QTest::keyClick(&view, Qt::Key_B);
        QVERIFY(context3d->whiteModel && context3d->variantsDirty);
        QVERIFY(button(&menu, "WhiteModelWhite")->isHidden() && !button(&menu, "WhiteModelLight")->isHidden());
        QCOMPARE(lastInfo(info), std::string("白模场景"));
        button(&menu, "WhiteModelLight")->click();
        QVERIFY(!context3d->whiteModel);
        QCOMPARE(lastInfo(info), std::string("贴图场景"));
        GraphicsContext::destroyInstance();  // the manager goes while GL is there
    }

    void escapeInADialogIsTheDialogsAndAGoneClientClosesTheViewer()
    {
        WidgetUIWrapper wrapper;
        VeldaTest::CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // Escape inside a message box, on the box or its button, answers
        // the box, nothing more.
        WidgetMessageBox box(&window);
        for (const char* on : {"WidgetMessageBox", "YesConfirm"}) {
            VeldaTest::answerNextBox([on](WidgetMessageBox* b) {
                QWidget* target = b->objectName() == on ? static_cast<QWidget*>(b) : b->findChild<QPushButton*>(on);
                QTest::keyClick(target, Qt::Key_Escape);
            });
            QCOMPARE(box.ask("确定上传变更数据?", "由 张三"), static_cast<int>(WidgetMessageBox::kClosed));
            QVERIFY(!window.closed);
        }
        // Signed out (state 2) is not gone: the viewer stays.
        VeldaTest::writeSession(2);
        QMetaObject::invokeMethod(&wrapper, "_checkQemClient");
        QVERIFY(!window.closed);
        VeldaTest::writeSession(0);
        QMetaObject::invokeMethod(&wrapper, "_checkQemClient");
        QVERIFY(window.closed);
    }
};

VELDA_VIEWER_TEST_MAIN(OverlayTest)
#include "OverlayTest.moc"
