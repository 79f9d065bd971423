#include "ViewerTestSupport.h"

#include "jobs/FileHelpers.h"

#include <QFileDialog>
#include <QLineEdit>
#include <QMouseEvent>
#include <QThreadPool>

using VeldaClient::GraphicsContext;

namespace VeldaTest {

namespace {
const TempDir* g_folder = nullptr;
}

void writeSession(int state)
{
    Velda::writeTextFile(g_folder->file("session.json"),
                         "{\"ready\": true, \"state\": " + std::to_string(state) +
                             ", \"projectid\": 7, \"qemid\": 1001, \"username\": \"张三\", \"sign\": \"sign-1\", "
                             "\"msghandle\": 4242}");
}

int runViewerTest(QObject* test, int argc, char** argv)
{
    const TempDir folder;
    g_folder = &folder;
    const ScopedEnv appData("APPDATA", folder.path());
    const ScopedEnv session("QEM_SESSION", folder.file("session.json"));
    const ScopedEnv service("QEM_SERVICE_URL", "http://127.0.0.1:1");
    VeldaClient::ApplicationMain application(argc, argv);
    const int result = QTest::qExec(test, argc, argv);
    GraphicsContext::destroyInstance();
    return result;
}

void ViewerTest::init()
{
    writeSession(1);
    GraphicsContext::instance()->setApplication(app());
}

void ViewerTest::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    GraphicsContext::destroyInstance();
}

bool sendMouse(QWidget* target, QEvent::Type type, QPointF at, Qt::MouseButtons buttons, std::optional<QPoint> global)
{
    QMouseEvent event(type, at, global.value_or(target->mapToGlobal(at.toPoint())),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
    return event.isAccepted();
}

Velda::Camera* placedCamera()
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    camera->setProjectionType(Velda::Camera::kPerspective);
    camera->setPosition(0.0f, -4.0f, 2.0f);
    camera->lookAt(Velda::Vector3(0, 0, 0), hub->worldUp());
    camera->setPosition(0.0f, -4.0f, 2.0f);
    hub->setOrbitPivot(Velda::Vector3(0, 0, 0));
    return camera;
}

void answerNextBox(std::function<void(VeldaClient::WidgetMessageBox*)> answer, QStringList* seen)
{
    whenModal<VeldaClient::WidgetMessageBox>([answer, seen](VeldaClient::WidgetMessageBox* box) {
        for (QLabel* label : box->findChildren<QLabel*>())
            if (seen && label->isVisibleTo(box) &&
                (label->property("DialogQuestion").toBool() || label->property("DialogInfo").toBool()))
                *seen << label->text();
        answer(box);
    });
}

void answerNextFileDialog(const std::string& path)
{
    whenModal<QFileDialog>([path](QFileDialog* dialog) {
        QLineEdit* name = dialog->findChild<QLineEdit*>("fileNameEdit");
        name->setText(QString::fromStdString(path));
        QTest::keyClick(name, Qt::Key_Return);
    });
}

std::function<void(VeldaClient::WidgetMessageBox*)> press(const char* button)
{
    return [button](VeldaClient::WidgetMessageBox* box) { box->findChild<QPushButton*>(button)->click(); };
}

QImage viewPicture(QRgb colour)
{
    QImage image(120, 80, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

Velda::Camera cameraAt(const Velda::Vector3& position, const Velda::Vector3& target, float fovDegrees)
{
    Velda::Camera camera;
    camera.setPosition(position);
    camera.lookAt(target, Velda::Vector3(0, 0, 1));
    camera.setPosition(position);
    camera.setNear(0.02f);
    camera.setFar(20.0f);
    camera.setFov(static_cast<float>(fovDegrees / 180.0 * 3.1415925));
    return camera;
}

void fillView(VeldaClient::WidgetThumbnail* view, const Velda::Camera& camera, const Velda::Vector3& target,
              QRgb colour)
{
    view->setPicture(viewPicture(colour));
    view->setCamera(camera);
    view->setTarget(target);
    view->setLr(1.25f);
    view->setTr(2.5f);
    view->setUser(L"张三");
    view->setQemidText("1001");
    view->setTime("2026-11-22 09:15");
}

} // namespace VeldaTest
