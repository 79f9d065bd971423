#pragma once

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "scene/Camera.h"

#include "TempDir.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <optional>

namespace VeldaTest {

// Runs the QtTest object with the viewer's application object, in a private
// application data folder and signed in through a session file that the
// sign module reads; no service unless a test starts one (the gallery's
// record read then fails at once instead of reaching the default port).
int runViewerTest(QObject* test, int argc, char** argv);
// Rewrites the session; state 0 means the companion client has gone.
void writeSession(int state);

inline VeldaClient::ApplicationMain* app()
{
    return static_cast<VeldaClient::ApplicationMain*>(QCoreApplication::instance());
}

// The base of the viewer's test objects: every test function starts signed
// in with a hub on the application and ends with the pool's jobs done and
// the hub gone.
class ViewerTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
};

// A window that records being closed, as the exit flow closes all windows.
class CloseProbe : public QWidget {
public:
    bool closed = false;

protected:
    void closeEvent(QCloseEvent* e) override
    {
        closed = true;
        QWidget::closeEvent(e);
    }
};

// Counts the key presses (modifiers aside) and releases that reach it.
class KeyProbe : public QWidget {
public:
    int presses = 0;
    int releases = 0;

protected:
    void keyPressEvent(QKeyEvent* e) override { presses += e->key() != Qt::Key_Control; }
    void keyReleaseEvent(QKeyEvent*) override { ++releases; }
};

// A mouse event as the window system sends it (the left button changes on a
// press or release), at `global` or where `at` is now. True when accepted.
bool sendMouse(QWidget* target, QEvent::Type type, QPointF at, Qt::MouseButtons buttons,
               std::optional<QPoint> global = std::nullopt);

// The hub's camera at (0, -4, 2), looking at the origin, which is the pivot.
Velda::Camera* placedCamera();

// Runs `act` on the next modal window of type T once it shows: the test
// itself is blocked in the dialog's exec().
template <typename T>
void whenModal(std::function<void(T*)> act)
{
    QTimer* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, [poll, act]() {
        T* window = qobject_cast<T*>(QApplication::activeModalWidget());
        if (!window || !window->isVisible())
            return;
        poll->deleteLater();
        act(window);
    });
    poll->start(20);
}

// Answers the next message box; `seen` receives its question and, when
// shown, its detail line.
void answerNextBox(std::function<void(VeldaClient::WidgetMessageBox*)> answer, QStringList* seen = nullptr);
// The file dialog that opens next gets `path` typed and Return, as a user does.
void answerNextFileDialog(const std::string& path);

// An answer for answerNextBox: a click on "YesConfirm" or "NoConfirm".
std::function<void(VeldaClient::WidgetMessageBox*)> press(const char* button);

// A picture as the scene grabs one, 120 by 80, of one colour.
QImage viewPicture(QRgb colour);
Velda::Camera cameraAt(const Velda::Vector3& position, const Velda::Vector3& target, float fovDegrees = 60.0f);
// Fills a place as taking a view does, by 张三 (1001) at 2026-11-22 09:15.
void fillView(VeldaClient::WidgetThumbnail* view, const Velda::Camera& camera, const Velda::Vector3& target,
              QRgb colour);

} // namespace VeldaTest

#define VELDA_VIEWER_TEST_MAIN(TestClass)                   \
    int main(int argc, char** argv)                         \
    {                                                       \
        TestClass test;                                     \
        return VeldaTest::runViewerTest(&test, argc, argv); \
    }
