// The main window and its central view: the drag strip, the size states and
// the F cycle; the camera under the
// keys and the mouse, where the overlay does not take the mouse first; the
// theme's resources, its selectors against the window's widgets, and the
// font chain that must render Chinese on this system.
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetGraphicsView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetPackProgress.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"

#include "ViewerTestSupport.h"

#include <QDirIterator>
#include <QFile>
#include <QFontInfo>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QResource>
#include <QScreen>
#include <QSet>

#include <cmath>
#include <memory>

using namespace VeldaClient;
using Velda::Vector3;

namespace {

// A window as main() makes it, shown with the 3D view hidden: these tests
// need no GL frame.
std::unique_ptr<FormMain> shownForm()
{
    std::unique_ptr<FormMain> form(new FormMain());
    form->centralView()->graphicsView()->hide();
    form->resize(1024, 700);
    form->show();
    if (!QTest::qWaitForWindowExposed(form.get()))
        qWarning("the window was not exposed");
    return form;
}

bool near(const Vector3& a, const Vector3& b)
{
    return (a - b).length() < 1e-4f;
}

Vector3 axis(Velda::Camera* camera, int i)
{
    const Velda::Vector4 c = camera->getTransform().getColumn(i);
    return Vector3(c.x, c.y, c.z);
}

// The scene as the graphics view drives it, its events not accepted until
// someone takes them.
class SceneDriver {
public:
    SceneDriver() { scene.resizeScene(1024, 672); }

    bool mouse(QEvent::Type type, QPointF at, Qt::MouseButtons buttons, Qt::MouseButton button = Qt::NoButton)
    {
        QGraphicsSceneMouseEvent event(type);
        event.setScenePos(at);
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
        event.setDelta(delta);
        event.setModifiers(modifiers);
        event.setAccepted(false);
        QCoreApplication::sendEvent(&scene, &event);
    }

    WidgetGraphicsScene scene;
};

QString sheet()
{
    QFile file(":/Qss/Theme.qss");
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Every capture of `pattern` in `text`.
QSet<QString> captures(const QString& text, const QString& pattern)
{
    QSet<QString> all;
    QRegularExpressionMatchIterator it = QRegularExpression(pattern).globalMatch(text);
    while (it.hasNext())
        all << it.next().captured(1);
    return all;
}

} // namespace

class WindowTest : public VeldaTest::ViewerTest {
    Q_OBJECT

private slots:
    void theStripAboveY31DragsTheWindowAndPressesBelowAreNotPassedOn()
    {
        std::unique_ptr<FormMain> form = shownForm();
        form->move(100, 60);
        QTRY_COMPARE(form->pos(), QPoint(100, 60));
        // Below the strip a press stays with the window and drags nothing;
        // in the strip the window follows the pointer.
        for (const QPoint at : {QPoint(300, 40), QPoint(300, 10)}) {
            const bool below = at.y() >= 31;
            QCOMPARE(VeldaTest::sendMouse(form.get(), QEvent::MouseButtonPress, at, Qt::LeftButton), below);
            const QPoint to = form->mapToGlobal(at) + QPoint(50, 30);
            VeldaTest::sendMouse(form.get(), QEvent::MouseMove, at, Qt::LeftButton, to);
            VeldaTest::sendMouse(form.get(), QEvent::MouseButtonRelease, at, Qt::NoButton, to);
            if (below) {
                QTest::qWait(50);
                QCOMPARE(form->pos(), QPoint(100, 60));
            }
        }
        QTRY_COMPARE(form->pos(), QPoint(150, 90));
    }

    void doubleClickRestoresWhereTheWindowStoodAndFEndsInFullScreen()
    {
        std::unique_ptr<FormMain> form = shownForm();
        WidgetMainCentralView* view = form->centralView();
        QPushButton* maxButton = view->findChild<QPushButton*>("FormMax");
        QPushButton* normalButton = view->findChild<QPushButton*>("FormNormal");
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        form->move(120, 40);
        QTRY_COMPARE(form->pos(), QPoint(120, 40));
        QTest::mouseDClick(view->formTop(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 10));
        QVERIFY(emit view->isMaxSize());
        QVERIFY(maxButton->isHidden() && !normalButton->isHidden());
        QTRY_COMPARE(form->geometry(), screen);
        QTest::mouseDClick(view->formTop(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 10));
        QVERIFY(emit view->isNormalSize());
        QVERIFY(!maxButton->isHidden() && normalButton->isHidden());
        QTRY_COMPARE(form->geometry(), QRect(120, 40, 1024, 700));

        // F: normal, maximum, full screen without the strip.
        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY((emit view->isMaxSize()) && !(emit view->isNormalSize()));
        QTRY_COMPARE(form->geometry(), screen);
        QVERIFY(!view->formTop()->isHidden());
        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY(emit view->isFullScreen());
        QTRY_VERIFY(form->windowState() & Qt::WindowFullScreen);
        // Full screen keeps the max size flag: F matches the first row again.
        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY((emit view->isFullScreen()) && (emit view->isMaxSize()));
        QVERIFY(view->formTop()->isHidden());
        QVERIFY(form->windowState() & Qt::WindowFullScreen);
    }

    void movementKeysStepInTheGroundPlaneAndNotWithControl()
    {
        std::unique_ptr<FormMain> form = shownForm();
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* camera = VeldaTest::placedCamera();
        VeldaTest::KeyProbe probe;
        // Ctrl+W moves nothing, and the key is consumed all the same.
        QTest::keyClick(&probe, Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(camera->getPosition(), Vector3(0.0f, -4.0f, 2.0f));
        // A step is 0.03 of the height, along the ground; the pivot goes along.
        QTest::keyClick(&probe, Qt::Key_W);
        QVERIFY(near(camera->getPosition(), Vector3(0.0f, -3.94f, 2.0f)));
        QVERIFY(near(hub->orbitPivot(), Vector3(0.0f, 0.06f, 0.0f)));
        QTest::keyClick(&probe, Qt::Key_Left);
        QVERIFY(near(camera->getPosition(), Vector3(-0.06f, -3.94f, 2.0f)));
        QTest::keyClick(&probe, Qt::Key_S);
        QTest::keyClick(&probe, Qt::Key_D);
        QVERIFY(near(camera->getPosition(), Vector3(0.0f, -4.0f, 2.0f)));
        QVERIFY(near(hub->orbitPivot(), Vector3(0, 0, 0)));
        QCOMPARE(probe.presses, 0);
    }

    void aPressTakenByAnOverlayWidgetMovesNothing()
    {
        SceneDriver driver;
        Velda::Camera* camera = VeldaTest::placedCamera();
        const Velda::Matrix4 before = camera->getTransform();
        const QPointF onMap = QPointF(driver.scene.uiWrapper()->miniMap()->pos()) + QPointF(30, 30);
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
        Velda::Camera* camera = VeldaTest::placedCamera();
        const double startDistance = camera->getPosition().length();
        // Upwards the view never rises above the horizon; downwards the
        // camera never turns over.
        for (int i = 0; i < 60; ++i) {
            driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(500, 270));
            QVERIFY(axis(camera, 2).z >= -1e-5f);
        }
        for (int i = 0; i < 60; ++i) {
            driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(500, 330));
            QVERIFY(axis(camera, 1).z >= -1e-5f);
        }
        // At the limit a refused pitch still keeps that event's yaw.
        const Vector3 view = axis(camera, 2) * -1.0f;
        driver.drag(Qt::LeftButton, QPointF(500, 300), QPointF(540, 330));
        const Vector3 turned = axis(camera, 2) * -1.0f;
        QCOMPARE(turned.z, view.z);
        QVERIFY(std::abs(std::atan2(turned.y, turned.x) - std::atan2(view.y, view.x)) > 0.05);
        // Orbiting keeps the distance to the pivot.
        QVERIFY(std::abs(camera->getPosition().length() - startDistance) < 1e-3);
    }

    void panOnTheGroundMovesThePivotAlongAndTheViewPlanePanOnlySideways()
    {
        SceneDriver driver;
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* camera = VeldaTest::placedCamera();
        driver.drag(Qt::RightButton, QPointF(500, 300), QPointF(530, 340));
        const Vector3 moved = camera->getPosition() - Vector3(0.0f, -4.0f, 2.0f);
        QVERIFY(moved.length() > 0.01f);
        QCOMPARE(moved.z, 0.0f);
        QVERIFY(near(hub->orbitPivot(), moved));

        const Vector3 pivot = hub->orbitPivot();
        const Vector3 position = camera->getPosition();
        driver.drag(Qt::MiddleButton, QPointF(500, 300), QPointF(530, 340));
        const Vector3 shift = camera->getPosition() - position;
        const Vector3 pivotShift = hub->orbitPivot() - pivot;
        QVERIFY(std::abs(shift.z) > 0.01f);
        QCOMPARE(pivotShift.z, 0.0f);
        QVERIFY(near(Vector3(shift.x, shift.y, 0.0f), pivotShift));

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
        Velda::Camera* camera = VeldaTest::placedCamera();
        const float fov = camera->getFov();
        driver.wheel(120, Qt::NoModifier);
        QVERIFY((camera->getOrthoBounds() - Velda::Vector4(-0.6f, 0.6f, -0.45f, 0.45f)).length() < 1e-6f);
        QVERIFY(near(camera->getPosition(), Vector3(0.0f, -3.6f, 1.8f)));
        QCOMPARE(hub->orbitPivot(), Vector3(0, 0, 0));
        QCOMPARE(camera->getFov(), fov);
        driver.wheel(-120, Qt::NoModifier);
        QVERIFY((camera->getOrthoBounds() - Velda::Vector4(-0.75f, 0.75f, -0.5625f, 0.5625f)).length() < 1e-6f);
        QVERIFY(near(camera->getPosition(), Vector3(0.0f, -3.96f, 1.98f)));

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

    void theImagesAndTheSheetAreThereUncompressed()
    {
        int images = 0;
        for (QDirIterator it(":/Images"); it.hasNext(); ++images) {
            const QString path = it.next();
            QVERIFY2(!QImage(path).isNull(), qPrintable(path));
            QCOMPARE(QResource(path).compressionAlgorithm(), QResource::NoCompression);
        }
        QCOMPARE(images, 63);
        QVERIFY(QResource(":/Qss/Theme.qss").compressionAlgorithm() == QResource::NoCompression);
        QFile file(":/Qss/Theme.qss");
        QVERIFY(file.open(QIODevice::ReadOnly) && file.readAll().startsWith("\xEF\xBB\xBF"));

        // Every picture the sheet names is there, but the four it has always missed.
        QSet<QString> missing;
        for (const QString& path : captures(sheet(), "url\\(([^;\\s]+\\.png)\\)"))
            if (!QFile::exists(path))
                missing << path;
        QCOMPARE(missing, QSet<QString>({":/Images/button.png", ":/Images/button-pressed.png",
                                         ":/Images/button-high-light.png", ":/Images/wlogo.png"}));
    }

    void theSheetAndTheWidgetsAgreeOnTheSelectors()
    {
        std::unique_ptr<FormMain> form(new FormMain());
        WidgetMessageBox box;
        LocalModelJob job(ModelLibrary("/nonexistent/"), "velda-pack", "model.ifc");
        WidgetPackProgress packing(&job);
        QSet<QString> names, properties;
        QList<QObject*> all = form->findChildren<QObject*>() + box.findChildren<QObject*>();
        all << form->centralView()->graphicsScene()->uiWrapper()->findChildren<QObject*>() << &box;
        all << packing.findChildren<QObject*>() << &packing;
        for (QObject* o : all) {
            names << o->objectName();
            for (const QByteArray& p : o->dynamicPropertyNames())
                if (o->property(p).toBool())
                    properties << QString::fromUtf8(p);
        }
        // The selectors alone: comments and declarations left out.
        QString text = sheet();
        text.remove(QRegularExpression("/\\*.*?\\*/", QRegularExpression::DotMatchesEverythingOption));
        text.remove(QRegularExpression("\\{[^}]*\\}"));
        QCOMPARE(captures(text, "#(\\w+)") - names, QSet<QString>());
        // Every property a widget sets is styled; the sheet also keeps some
        // for widgets the viewer does not build.
        const QSet<QString> styled = captures(text, "\\[(\\w+)");
        QCOMPARE(properties - styled, QSet<QString>());
        QCOMPARE(styled - properties, QSet<QString>({"Close", "MenuButton", "MiniSetterButton", "Setter",
                                                     "SetterButton", "centralWidget", "mainPanel",
                                                     "mainPanelScrollArea", "wLogo"}));
    }

    void chineseTextFindsTheInstalledCjkFont()
    {
        const QString before = qApp->styleSheet();
        qApp->setStyleSheet(sheet());
        QLabel label("模型上传:张三");
        label.ensurePolished();
        const QFontInfo font(label.font());
        qApp->setStyleSheet(before);
        QCOMPARE(font.family(), QString("WenQuanYi Micro Hei"));
        QVERIFY(QFontMetrics(label.font()).inFontUcs4(0x6A21));  // 模
    }
};

VELDA_VIEWER_TEST_MAIN(WindowTest)
#include "WindowTest.moc"
