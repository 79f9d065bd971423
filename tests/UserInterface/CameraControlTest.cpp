// Mouse control of the camera in the graphics scene: what the overlay takes
// moves nothing; orbit, both pans and the wheel.
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "scene/Camera.h"

#include "ViewerTestMain.h"

#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>

#include <cmath>
#include <memory>

using namespace VeldaClient;
using Velda::Vector3;

namespace {

Vector3 axis(Velda::Camera* camera, int i)
{
    const Velda::Vector4 c = camera->getTransform().getColumn(i);
    return Vector3(c.x, c.y, c.z);
}

// The view direction's height angle and heading.
double elevation(Velda::Camera* camera)
{
    return std::asin(-axis(camera, 2).z);
}

double heading(Velda::Camera* camera)
{
    const Vector3 view = axis(camera, 2) * -1.0f;
    return std::atan2(view.y, view.x);
}

class SceneDriver {
public:
    SceneDriver()
    {
        scene.setSceneRect(0, 0, 1024, 672);
        scene.resizeScene(1024, 672);
    }

    // As the graphics view sends them: not accepted until someone takes them.
    bool mouse(QEvent::Type type, QPointF at, Qt::MouseButtons buttons, Qt::MouseButton button = Qt::NoButton)
    {
        QGraphicsSceneMouseEvent event(type);
        event.setScenePos(at);
        event.setScreenPos(at.toPoint());
        event.setButton(button);
        event.setButtons(buttons);
        event.setAccepted(false);
        QCoreApplication::sendEvent(&scene, &event);
        return event.isAccepted();
    }

    void drag(Qt::MouseButtons buttons, QPointF from, QPointF to)
    {
        mouse(QEvent::GraphicsSceneMousePress, from, buttons, Qt::LeftButton);
        mouse(QEvent::GraphicsSceneMouseMove, to, buttons);
        mouse(QEvent::GraphicsSceneMouseRelease, to, Qt::NoButton, Qt::LeftButton);
    }

    void wheel(int delta, Qt::KeyboardModifiers modifiers)
    {
        QGraphicsSceneWheelEvent event(QEvent::GraphicsSceneWheel);
        event.setScenePos(QPointF(500, 300));
        event.setScreenPos(QPoint(500, 300));
        event.setDelta(delta);
        event.setModifiers(modifiers);
        event.setAccepted(false);
        QCoreApplication::sendEvent(&scene, &event);
    }

    WidgetGraphicsScene scene;
};

// Looks at the origin from (0, -4, 2).
Velda::Camera* placedCamera()
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    camera->setProjectionType(Velda::Camera::kPerspective);
    camera->setPosition(0.0f, -4.0f, 2.0f);
    camera->lookAt(Vector3(0, 0, 0), hub->worldUp());
    camera->setPosition(0.0f, -4.0f, 2.0f);
    hub->setOrbitPivot(Vector3(0, 0, 0));
    return camera;
}

} // namespace

class CameraControlTest : public QObject {
    Q_OBJECT

private slots:
    void init() { GraphicsContext::instance()->setApplication(static_cast<ApplicationMain*>(qApp)); }
    void cleanup() { GraphicsContext::destroyInstance(); }

    void aPressTakenByAnOverlayWidgetMovesNothing()
    {
        SceneDriver driver;
        Velda::Camera* camera = placedCamera();
        const Velda::Matrix4 before = camera->getTransform();
        WidgetMiniMap* map = driver.scene.uiWrapper()->miniMap();
        const QPointF onMap = QPointF(map->pos()) + QPointF(30, 30);
        QVERIFY(driver.mouse(QEvent::GraphicsSceneMousePress, onMap, Qt::LeftButton, Qt::LeftButton));
        driver.mouse(QEvent::GraphicsSceneMouseMove, onMap + QPointF(-40, 25), Qt::LeftButton);
        driver.mouse(QEvent::GraphicsSceneMouseRelease, onMap, Qt::NoButton, Qt::LeftButton);
        QVERIFY(camera->getTransform() == before);

        // The same drag over the bare picture turns the camera.
        driver.drag(Qt::LeftButton, QPointF(400, 300), QPointF(360, 325));
        QVERIFY(camera->getTransform() != before);
    }

    void orbitRefusesPastThePolesAndKeepsTheYaw()
    {
        SceneDriver driver;
        Velda::Camera* camera = placedCamera();
        const double startDistance = camera->getPosition().length();

        // Upwards: the view never rises above the horizon.
        for (int i = 0; i < 60; ++i) {
            driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(500, 270));
            QVERIFY(axis(camera, 2).z >= -1e-5f);
        }
        // Downwards: the camera never turns over.
        for (int i = 0; i < 60; ++i) {
            driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(500, 330));
            QVERIFY(axis(camera, 1).z >= -1e-5f);
        }
        // At the limit a refused pitch still keeps that event's yaw.
        const double pitch = elevation(camera);
        const double yaw = heading(camera);
        driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(540, 330));
        QCOMPARE(elevation(camera), pitch);
        QVERIFY(std::abs(heading(camera) - yaw) > 0.05);
        // Orbiting keeps the distance to the pivot.
        QVERIFY(std::abs(camera->getPosition().length() - startDistance) < 1e-3);
    }

    void panOnTheGroundMovesThePivotAlongAndTheViewPlanePanOnlySideways()
    {
        SceneDriver driver;
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* camera = placedCamera();

        driver.drag(Qt::RightButton, QPointF(500, 300), QPointF(530, 340));
        const Vector3 moved = camera->getPosition() - Vector3(0.0f, -4.0f, 2.0f);
        QVERIFY(moved.length() > 0.01f);
        QCOMPARE(moved.z, 0.0f);
        QVERIFY((hub->orbitPivot() - moved).length() < 1e-5f);

        const Vector3 pivot = hub->orbitPivot();
        const Vector3 position = camera->getPosition();
        driver.drag(Qt::MiddleButton, QPointF(500, 300), QPointF(530, 340));
        const Vector3 shift = camera->getPosition() - position;
        const Vector3 pivotShift = hub->orbitPivot() - pivot;
        QVERIFY(std::abs(shift.z) > 0.01f);
        QCOMPARE(pivotShift.z, 0.0f);
        QVERIFY((Vector3(shift.x, shift.y, 0.0f) - pivotShift).length() < 1e-5f);

        // Left and right at once: the pan reads the position the orbit has
        // already taken, so only the orbit moves.
        const Vector3 before = hub->orbitPivot();
        driver.drag(Qt::LeftButton | Qt::RightButton, QPointF(500, 300), QPointF(520, 310));
        QCOMPARE(hub->orbitPivot(), before);
    }

    void wheelZoomsBothProjectionsAndWithControlTheFieldOfView()
    {
        SceneDriver driver;
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* camera = placedCamera();
        const float fov = camera->getFov();

        driver.wheel(120, Qt::NoModifier);
        QVERIFY((camera->getOrthoBounds() - Velda::Vector4(-0.6f, 0.6f, -0.45f, 0.45f)).length() < 1e-6f);
        QVERIFY((camera->getPosition() - Vector3(0.0f, -3.6f, 1.8f)).length() < 1e-5f);
        QCOMPARE(hub->orbitPivot(), Vector3(0, 0, 0));
        QCOMPARE(camera->getFov(), fov);
        QVERIFY(camera->isProjectionDirty());

        driver.wheel(-120, Qt::NoModifier);
        QVERIFY((camera->getOrthoBounds() - Velda::Vector4(-0.75f, 0.75f, -0.5625f, 0.5625f)).length() < 1e-6f);
        QVERIFY((camera->getPosition() - Vector3(0.0f, -3.96f, 1.98f)).length() < 1e-5f);

        // With Control: one degree of field of view, nothing else.
        const Vector3 position = camera->getPosition();
        const Velda::Vector4 bounds = camera->getOrthoBounds();
        driver.wheel(120, Qt::ControlModifier);
        QVERIFY(std::abs(camera->getFov() - (fov + 3.1415925f / 180.0f)) < 1e-6f);
        driver.wheel(-120, Qt::ControlModifier);
        driver.wheel(-120, Qt::ControlModifier);
        QVERIFY(std::abs(camera->getFov() - (fov - 3.1415925f / 180.0f)) < 1e-6f);
        QCOMPARE(camera->getPosition(), position);
        QCOMPARE(camera->getOrthoBounds(), bounds);
    }
};

VELDA_VIEWER_TEST_MAIN(CameraControlTest)
#include "CameraControlTest.moc"
