// The main window and its central view: the drag strip, the size states and
// the F cycle, the camera keys and the feedback message.
#include "Common/GraphicsContext.h"
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/WidgetGraphicsView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "scene/Camera.h"
#include "service/ClientMessage.h"

#include "ViewerTestMain.h"

#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

#include <cmath>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VeldaClient;

namespace {

ApplicationMain* app()
{
    return static_cast<ApplicationMain*>(QCoreApplication::instance());
}

// A window as main() makes it, shown with the 3D view hidden: these tests
// need no GL frame.
std::unique_ptr<FormMain> shownForm()
{
    GraphicsContext::instance()->setApplication(app());
    std::unique_ptr<FormMain> form(new FormMain());
    form->centralView()->graphicsView()->hide();
    form->resize(1024, 700);
    form->show();
    if (!QTest::qWaitForWindowExposed(form.get()))
        qWarning("the window was not exposed");
    return form;
}

bool sendMouse(QWidget* target, QEvent::Type type, QPoint local, QPoint global, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, local, global, type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
    return event.isAccepted();
}

// Counts the presses of other than modifier keys that reach it.
class KeyProbe : public QWidget {
public:
    int presses = 0;

protected:
    void keyPressEvent(QKeyEvent* e) override
    {
        if (e->key() != Qt::Key_Control)
            ++presses;
    }
};

Velda::Vector3 near(const Velda::Vector3& v)
{
    auto round = [](float f) { return std::round(f * 10000.0f) / 10000.0f; };
    return Velda::Vector3(round(v.x), round(v.y), round(v.z));
}

} // namespace

class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void theStripAboveY31DragsTheWindowAndPressesBelowAreNotPassedOn()
    {
        std::unique_ptr<FormMain> form = shownForm();
        form->move(100, 60);
        QTRY_COMPARE(form->pos(), QPoint(100, 60));

        // Below the strip: no drag, and the press stays with the window.
        const QPoint low(300, 40);
        QVERIFY(sendMouse(form.get(), QEvent::MouseButtonPress, low, form->mapToGlobal(low), Qt::LeftButton));
        sendMouse(form.get(), QEvent::MouseMove, low, form->mapToGlobal(low) + QPoint(50, 30), Qt::LeftButton);
        sendMouse(form.get(), QEvent::MouseButtonRelease, low, form->mapToGlobal(low), Qt::NoButton);
        QTest::qWait(50);
        QCOMPARE(form->pos(), QPoint(100, 60));

        // In the strip: the window follows the pointer.
        const QPoint high(300, 10);
        const QPoint global = form->mapToGlobal(high);
        QVERIFY(!sendMouse(form.get(), QEvent::MouseButtonPress, high, global, Qt::LeftButton));
        sendMouse(form.get(), QEvent::MouseMove, high, global + QPoint(50, 30), Qt::LeftButton);
        sendMouse(form.get(), QEvent::MouseButtonRelease, high, global + QPoint(50, 30), Qt::NoButton);
        QTRY_COMPARE(form->pos(), QPoint(150, 90));
    }

    void fCyclesNormalMaximumFullScreenAndStaysThere()
    {
        std::unique_ptr<FormMain> form = shownForm();
        WidgetMainCentralView* view = form->centralView();
        QPushButton* maxButton = view->findChild<QPushButton*>("FormMax");
        QPushButton* normalButton = view->findChild<QPushButton*>("FormNormal");
        QVERIFY(emit view->isNormalSize());
        QVERIFY(!maxButton->isHidden() && normalButton->isHidden());

        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY(emit view->isMaxSize());
        QVERIFY(!(emit view->isNormalSize()));
        QVERIFY(maxButton->isHidden() && !normalButton->isHidden());
        QTRY_COMPARE(form->geometry(), QGuiApplication::primaryScreen()->availableGeometry());
        QVERIFY(!view->formTop()->isHidden());

        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY(emit view->isFullScreen());
        QVERIFY(view->formTop()->isHidden());
        QTRY_VERIFY(form->windowState() & Qt::WindowFullScreen);

        // Full screen keeps the max size flag: F matches the first row again.
        QTest::keyClick(form.get(), Qt::Key_F);
        QVERIFY(emit view->isFullScreen());
        QVERIFY(emit view->isMaxSize());
        QVERIFY(view->formTop()->isHidden());
        QVERIFY(form->windowState() & Qt::WindowFullScreen);
    }

    void doubleClickOnTheStripMaximisesAndRestoresWhereTheWindowStood()
    {
        std::unique_ptr<FormMain> form = shownForm();
        WidgetMainCentralView* view = form->centralView();
        form->move(120, 40);
        QTRY_COMPARE(form->pos(), QPoint(120, 40));
        QTest::mouseDClick(view->formTop(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 10));
        QVERIFY(emit view->isMaxSize());
        QTRY_COMPARE(form->geometry(), QGuiApplication::primaryScreen()->availableGeometry());

        QTest::mouseDClick(view->formTop(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 10));
        QVERIFY(emit view->isNormalSize());
        QTRY_COMPARE(form->pos(), QPoint(120, 40));
        QTRY_COMPARE(form->size(), QSize(1024, 700));
        QVERIFY(!view->findChild<QPushButton*>("FormMax")->isHidden());
    }

    void movementKeysStepInTheGroundPlaneAndNotWithControl()
    {
        std::unique_ptr<FormMain> form = shownForm();
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* camera = hub->camera();
        camera->setPosition(0.0f, -4.0f, 2.0f);
        camera->lookAt(Velda::Vector3(0, 0, 0), hub->worldUp());
        camera->setPosition(0.0f, -4.0f, 2.0f);
        hub->setOrbitPivot(Velda::Vector3(0, 0, 0));
        KeyProbe probe;

        // Ctrl+W moves nothing, and the key is consumed all the same.
        QTest::keyClick(&probe, Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(camera->getPosition(), Velda::Vector3(0.0f, -4.0f, 2.0f));
        QCOMPARE(probe.presses, 0);

        // A step is 0.03 of the height, along the ground.
        QTest::keyClick(&probe, Qt::Key_W);
        QCOMPARE(near(camera->getPosition()), near(Velda::Vector3(0.0f, -3.94f, 2.0f)));
        QCOMPARE(near(hub->orbitPivot()), near(Velda::Vector3(0.0f, 0.06f, 0.0f)));
        QTest::keyClick(&probe, Qt::Key_Left);
        QCOMPARE(near(camera->getPosition()), near(Velda::Vector3(-0.06f, -3.94f, 2.0f)));
        QTest::keyClick(&probe, Qt::Key_S);
        QTest::keyClick(&probe, Qt::Key_D);
        QCOMPARE(near(camera->getPosition()), near(Velda::Vector3(0.0f, -4.0f, 2.0f)));
        QCOMPARE(near(hub->orbitPivot()), near(Velda::Vector3(0, 0, 0)));
        QCOMPARE(probe.presses, 0);
    }

    void titleAndFeedbackComeFromTheProjectAndTheClient()
    {
        ProjectInfo* info = GraphicsContext::instance()->projectInfo();
        info->projectname = "住宅";
        info->groupname = "设计组";
        info->groupid = "g-12";
        std::unique_ptr<FormMain> form = shownForm();
        QLabel* title = nullptr;
        for (QLabel* label : form->findChildren<QLabel*>())
            if (label->property("FormTitle").toBool())
                title = label;
        QVERIFY(title);
        QCOMPARE(title->text(), QString("住宅 - 设计组(g-12) - 岚洲三维浏览器"));
        QCOMPARE(form->windowTitle(), QString("岚舟三维浏览器"));

        // The feedback button posts 5069, 5, 0 to the client's socket.
        const std::string path = clientSocketPath(VeldaTest::ViewerTestEnvironment::kHandle);
        ::unlink(path.c_str());
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
        QCOMPARE(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        form->findChild<QPushButton*>("Feedback")->click();
        char text[64] = {};
        timeval wait{2, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        const ssize_t n = recv(fd, text, sizeof text - 1, 0);
        ::close(fd);
        ::unlink(path.c_str());
        QCOMPARE(std::string(text, n > 0 ? static_cast<size_t>(n) : 0), std::string("5069 5 0"));
    }
};

VELDA_VIEWER_TEST_MAIN(WindowTest)
#include "WindowTest.moc"
