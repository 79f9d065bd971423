// The gallery of saved views: the views the service keeps, selection by
// click and digit key, the flight to a view, drag and wheel scrolling,
// delete, and the script downloads.
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetGallery.h"
#include "UserInterface/Widgets/WidgetScrollArea.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "scene/Camera.h"
#include "service/SavedViews.h"
#include "service/WebService.h"

#include "SavedViewsTestSupport.h"
#include "ServiceHarness.h"
#include "ViewerTestMain.h"

#include <QDialog>
#include <QFileDialog>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QThreadPool>

#include <cmath>
#include <memory>

using namespace VeldaClient;
using namespace VeldaTest;
using Velda::Vector3;

Q_DECLARE_METATYPE(std::string)

namespace {

ApplicationMain* app()
{
    return static_cast<ApplicationMain*>(QCoreApplication::instance());
}

bool close(const Vector3& a, const Vector3& b, float tolerance = 1e-4f)
{
    return (a - b).length() < tolerance;
}

// Stands in for the wrapper: keeps the sun angles the flight sends.
class SunProbe : public QObject {
    Q_OBJECT
public:
    float azimuth = 0.25f, time = 0.5f;
    int received = 0;
public slots:
    float* fetch() { return new float[2]{azimuth, time}; }
    void set(float* values)
    {
        azimuth = values[0];
        time = values[1];
        ++received;
        delete[] values;
    }
};

// A gallery on the screen, 400 wide as the wrapper would size it.
std::unique_ptr<WidgetGallery> shownGallery(SunProbe* sun = nullptr)
{
    std::unique_ptr<WidgetGallery> gallery(new WidgetGallery());
    if (sun) {
        QObject::connect(gallery.get(), SIGNAL(fetchRadValue()), sun, SLOT(fetch()));
        QObject::connect(gallery.get(), SIGNAL(setRadValue(float*)), sun, SLOT(set(float*)));
    }
    gallery->resize(400, 120);
    gallery->show();
    if (!QTest::qWaitForWindowExposed(gallery.get()))
        qWarning("the gallery was not exposed");
    return gallery;
}

void sendMouse(QWidget* target, QEvent::Type type, QPoint local, QPoint global, Qt::MouseButton button,
               Qt::MouseButtons buttons)
{
    QMouseEvent event(type, local, global, button, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
}

// The file dialog that opens next picks `path` and accepts.
void saveAsNext(const QString& path)
{
    QTimer* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, [poll, path]() {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        poll->deleteLater();
        // As a user does it: the name typed, then Return.
        QLineEdit* name = dialog->findChild<QLineEdit*>("fileNameEdit");
        name->setText(path);
        QTest::keyClick(name, Qt::Key_Return);
    });
    poll->start(20);
}

} // namespace

class GalleryTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<std::string>("std::string");
        qRegisterMetaType<float*>("float*");
    }
    void init() { GraphicsContext::instance()->setApplication(app()); }
    void cleanup()
    {
        QThreadPool::globalInstance()->waitForDone();
        GraphicsContext::destroyInstance();
    }

    void itOpensWithTheViewsTheServiceKeeps()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        WidgetGallery first;
        for (WidgetThumbnail* view : first.thumbnails())
            QVERIFY(!view->hasImage() && !view->changed());
        fillView(first.thumbnails()[2], cameraAt(Vector3(1, -4, 3), Vector3(0, 0, 0)), Vector3(0, 0, 0),
                 qRgb(200, 50, 50));
        fillView(first.thumbnails()[9], cameraAt(Vector3(-2, 5, 1), Vector3(1, 1, 0), 45.0f), Vector3(1, 1, 0),
                 qRgb(50, 200, 50));
        WebService::saveRecord(serializeAllViews(&first));

        WidgetGallery again;
        for (WidgetThumbnail* view : again.thumbnails()) {
            WidgetThumbnail* was = first.thumbnails()[static_cast<size_t>(view->number() - 1)];
            QCOMPARE(view->hasImage(), was->hasImage());
            QVERIFY(!view->changed());
            if (!view->hasImage())
                continue;
            QCOMPARE(view->picture().convertToFormat(QImage::Format_RGB32),
                     was->picture().convertToFormat(QImage::Format_RGB32));
            QCOMPARE(view->camera().getTransform(), was->camera().getTransform());
            QCOMPARE(view->target(), was->target());
            QCOMPARE(view->md5(), was->md5());
            QCOMPARE(view->originText(), std::string("由 张三(1001) 于 2026-11-22 09:15 创建"));
        }
    }

    void digitKeysSelectTheirViewAndZeroIsTen()
    {
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        gallery->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(gallery.get()));
        QSignalSpy clicks(gallery.get(), SIGNAL(thumbnailClicked(bool)));
        QTest::keyClick(gallery.get(), Qt::Key_0);
        WidgetThumbnail* ten = gallery->thumbnails()[9];
        QVERIFY(ten->isChecked());
        QTRY_VERIFY(ten->hasFocus());
        QCOMPARE(gallery->focusedThumbnail(), ten);
        QCOMPARE(clicks.count(), 1);
        QTest::keyClick(gallery.get(), Qt::Key_3);
        QVERIFY(gallery->thumbnails()[2]->isChecked() && !ten->isChecked());
        QCOMPARE(clicks.count(), 2);

        // In an open dialog the digits are the dialog's.
        QDialog dialog;
        QLineEdit* name = new QLineEdit(&dialog);
        QTimer::singleShot(100, [&]() {
            QTest::keyClicks(name, "view12");
            dialog.accept();
        });
        dialog.exec();
        QCOMPARE(name->text(), QString("view12"));
        QVERIFY(gallery->thumbnails()[2]->isChecked());
        QCOMPARE(clicks.count(), 2);
    }

    void aClickOnAnEmptyPlaceSelectsItAndMovesNothing()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        hub->camera()->setPosition(3, 2, 1);
        hub->setOrbitPivot(Vector3(1, 1, 0));
        SunProbe sun;
        std::unique_ptr<WidgetGallery> gallery = shownGallery(&sun);
        WidgetThumbnail* five = gallery->thumbnails()[4];
        QVERIFY(!five->cover()->isHidden());
        five->click();
        QVERIFY(five->isChecked());
        QVERIFY(five->cover()->isHidden());
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(hub->camera()->getPosition(), Vector3(3, 2, 1));
        QCOMPARE(hub->orbitPivot(), Vector3(1, 1, 0));
        QCOMPARE(sun.received, 0);
        // Selecting another puts the cover back on this one.
        gallery->thumbnails()[5]->click();
        QVERIFY(!five->cover()->isHidden());
    }

    void aClickOnAViewFliesTheCameraAndTheSunThere()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* live = hub->camera();
        live->setPosition(0, -6, 2);
        live->setProjectionType(Velda::Camera::kOrthographic);
        hub->setOrbitPivot(Vector3(0, 0, 0));
        SunProbe sun;
        std::unique_ptr<WidgetGallery> gallery = shownGallery(&sun);
        WidgetThumbnail* two = gallery->thumbnails()[1];
        const Vector3 position(4, -3, 2.5f), target(1, 0.5f, 0);
        fillView(two, cameraAt(position, target, 40.0f), target, qRgb(90, 90, 200));

        two->click();
        // The pivot is there at once, planes and type before the flight.
        QCOMPARE(hub->orbitPivot(), target);
        QCOMPARE(live->getNear(), 0.02f);
        QCOMPARE(live->getFar(), 20.0f);
        QCOMPARE(live->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));
        QThreadPool::globalInstance()->waitForDone();
        QTRY_COMPARE(sun.received, 100);
        QVERIFY(close(live->getPosition(), position));
        const Velda::Vector4 back = live->getTransform().getColumn(2);
        QVERIFY(close(Vector3(back.x, back.y, back.z), (position - target).normalized()));
        QVERIFY(std::abs(live->getFov() * 180.0 / 3.1415925 - 40.0) < 1e-3);
        // The sun runs by whole steps from its start and stops one step short.
        QVERIFY(std::abs(sun.azimuth - (0.25f + 99 * (1.25f - 0.25f) / 100)) < 1e-4f);
        QVERIFY(std::abs(sun.time - (0.5f + 99 * (2.5f - 0.5f) / 100)) < 1e-4f);
        QVERIFY(!two->transitionRunning());

        // Again, where the camera already stands: nothing to fly.
        sun.azimuth = 1.25f;
        sun.time = 2.5f;
        two->click();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(sun.received, 100);
    }

    void aDragAcrossAThumbnailScrollsTheStripWithoutSelecting()
    {
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        QScrollBar* bar = gallery->scrollArea()->horizontalScrollBar();
        QCOMPARE(bar->value(), 0);
        WidgetThumbnail* two = gallery->thumbnails()[1];
        const QPoint at(60, 40), global = two->mapToGlobal(at);
        sendMouse(two, QEvent::MouseButtonPress, at, global, Qt::LeftButton, Qt::LeftButton);
        sendMouse(two, QEvent::MouseMove, at - QPoint(30, 0), global - QPoint(30, 0), Qt::NoButton, Qt::LeftButton);
        // Leaving the button takes one move for the button itself; the next
        // catches up, as every move counts from the last one seen.
        sendMouse(two, QEvent::MouseMove, at - QPoint(90, 5), global - QPoint(90, 5), Qt::NoButton, Qt::LeftButton);
        sendMouse(two, QEvent::MouseMove, at - QPoint(100, 5), global - QPoint(100, 5), Qt::NoButton, Qt::LeftButton);
        sendMouse(two, QEvent::MouseButtonRelease, at - QPoint(100, 5), global - QPoint(100, 5), Qt::LeftButton,
                  Qt::NoButton);
        QCOMPARE(bar->value(), 100);
        QVERIFY(!two->isChecked());

        // A press and a release in one place is a click.
        WidgetThumbnail* four = gallery->thumbnails()[3];
        const QPoint g4 = four->mapToGlobal(at);
        sendMouse(four, QEvent::MouseButtonPress, at, g4, Qt::LeftButton, Qt::LeftButton);
        sendMouse(four, QEvent::MouseButtonRelease, at, g4, Qt::LeftButton, Qt::NoButton);
        QVERIFY(four->isChecked());

        // The wheel turns the strip sideways, and the view behind keeps still.
        const int before = bar->value();
        // (A wheel over a thumbnail reaches the viewport; a sent one isn't passed up.)
        QWidget* viewport = gallery->scrollArea()->viewport();
        QWheelEvent wheel(QPointF(50, 50), QPointF(viewport->mapToGlobal(QPoint(50, 50))), QPoint(), QPoint(0, -120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(viewport, &wheel);
        QVERIFY(wheel.isAccepted());
        QVERIFY(bar->value() > before);
    }

    void deletingAsksThenEmptiesThePlace()
    {
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        WidgetThumbnail* four = gallery->thumbnails()[3];
        QSignalSpy info(gallery.get(), SIGNAL(displayInfo(std::string)));
        // An empty place asks nothing.
        QMetaObject::invokeMethod(four, "deleteThumbnailConfirm");
        QCOMPARE(info.count(), 0);

        fillView(four, cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(), qRgb(7, 7, 7));
        four->setChanged(false);
        QStringList seen;
        answerNextBox(pressNo, &seen);
        QMetaObject::invokeMethod(four, "deleteThumbnailConfirm");
        QCOMPARE(seen, QStringList({"确定删除当前选中项?", "由 张三(1001) 于 2026-11-22 09:15 创建"}));
        QVERIFY(four->hasImage() && !four->changed());

        answerNextBox(pressYes);
        QMetaObject::invokeMethod(four, "deleteThumbnailConfirm");
        QVERIFY(!four->hasImage());
        QVERIFY(four->changed());  // the service learns of it with the next save
        QCOMPARE(four->originText(), std::string());
        QCOMPARE(four->target(), Vector3());
        QCOMPARE(info.count(), 2);
        QCOMPARE(info.at(0).at(0).value<std::string>(), std::string("数据删除中..."));
        QCOMPARE(info.at(1).at(0).value<std::string>(), std::string("删除完毕!"));

        // The origin text names only what is known.
        four->setTime("2026-11-23 10:00");
        QCOMPARE(four->originText(), std::string(" 于 2026-11-23 10:00 创建"));
    }

    void downloadsWriteTheScriptOfOneViewOrOfAll()
    {
        VeldaTest::TempDir dir;
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        WidgetThumbnail* three = gallery->thumbnails()[2];
        fillView(three, cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(), qRgb(9, 9, 9));
        fillView(gallery->thumbnails()[6], cameraAt(Vector3(4, 5, 6), Vector3()), Vector3(), qRgb(8, 8, 8));

        saveAsNext(QString::fromStdString(dir.file("three.ms")));
        QMetaObject::invokeMethod(three, "saveThumbnailScript");
        QCOMPARE(fileText(dir.file("three.ms")), viewScriptLine(three));
        QVERIFY(viewScriptLine(three).find("QEMCam3") != std::string::npos);

        saveAsNext(QString::fromStdString(dir.file("all.ms")));
        emit three->saveAllThumbnailScript(true);
        QCOMPARE(fileText(dir.file("all.ms")), exportViewsScript(gallery.get()));
        QVERIFY(exportViewsScript(gallery.get()).find("QEMCam7") != std::string::npos);
    }
};

VELDA_VIEWER_TEST_MAIN(GalleryTest)
#include "GalleryTest.moc"
