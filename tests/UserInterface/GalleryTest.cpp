// Saved views. The gallery: selection by click and digit key, the flight to
// a view, drag and wheel scrolling, delete, and the script downloads. The
// overlay's flows: taking a view by Space and by the button, the replace
// question when all ten are taken, the status of the selected view, the save
// job's two failures, the exit flow with changed views, and the setting
// panel's place.
#include "UserInterface/Widgets/FlightTimer.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetGallery.h"
#include "UserInterface/Widgets/WidgetInformation.h"
#include "UserInterface/Widgets/WidgetScrollArea.h"
#include "UserInterface/Widgets/WidgetSettingMenu.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "service/SavedViews.h"
#include "service/WebService.h"

#include "LocalServer.h"
#include "ServiceHarness.h"
#include "ViewerTestSupport.h"

#include <QDialog>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSignalSpy>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <cmath>
#include <memory>

using namespace VeldaClient;
using namespace VeldaTest;
using Velda::Vector3;

Q_DECLARE_METATYPE(std::string)

namespace {

// Stands in for the wrapper's sun dial: keeps the angles the flight sends,
// and whether any came from a thread other than the GUI thread.
struct Sun {
    float azimuth = 0.25f, time = 0.5f;
    int received = 0;
    bool offThread = false;
};

// A gallery on the screen, 400 wide as the wrapper would size it.
std::unique_ptr<WidgetGallery> shownGallery(Sun* sun = nullptr)
{
    std::unique_ptr<WidgetGallery> gallery(new WidgetGallery());
    if (sun) {
        QObject::connect(gallery.get(), &WidgetGallery::fetchRadValue,
                         [sun]() { return new float[2]{sun->azimuth, sun->time}; });
        // Direct: it runs where the flight steps, which must be the GUI thread.
        QObject::connect(
            gallery.get(), &WidgetGallery::setRadValue, gallery.get(),
            [sun](float* values) {
                sun->azimuth = values[0];
                sun->time = values[1];
                ++sun->received;
                sun->offThread = sun->offThread || QThread::currentThread() != qApp->thread();
                delete[] values;
            },
            Qt::DirectConnection);
    }
    gallery->resize(400, 120);
    gallery->show();
    if (!QTest::qWaitForWindowExposed(gallery.get()))
        qWarning("the gallery was not exposed");
    return gallery;
}

// The overlay as the scene holds it, shown; the scene's grab of the frame
// is played by a picture of the given colour.
struct Overlay {
    WidgetUIWrapper wrapper;
    QRgb colour = qRgb(120, 40, 40);

    Overlay()
    {
        QObject::connect(&wrapper, &WidgetUIWrapper::screenShot, [this](QWidget* view) {
            qobject_cast<WidgetThumbnail*>(view)->storeView(viewPicture(colour));
        });
        wrapper.resize(1024, 672);
        wrapper.show();
        wrapper.activateWindow();
        if (!QTest::qWaitForWindowActive(&wrapper))
            qWarning("the overlay is not active");
    }
    WidgetThumbnail* view(int number) const { return wrapper.gallery()->thumbnails()[static_cast<size_t>(number - 1)]; }
    void space() { QTest::keyClick(&wrapper, Qt::Key_Space); }
    QString status() const { return wrapper.bottomLabel()->text(); }
};

} // namespace

class GalleryTest : public ViewerTest {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<std::string>("std::string");
        qRegisterMetaType<float*>("float*");
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
        QTRY_COMPARE(gallery->focusedThumbnail(), ten);
        QTest::keyClick(gallery.get(), Qt::Key_3);
        QVERIFY(gallery->thumbnails()[2]->isChecked() && !ten->isChecked());
        QCOMPARE(clicks.count(), 2);

        // In an open dialog the digits are the dialog's.
        QDialog dialog;
        QLineEdit* name = new QLineEdit(&dialog);
        whenModal<QDialog>([name](QDialog* open) {
            QTest::keyClicks(name, "view12");
            open->accept();
        });
        dialog.exec();
        QCOMPARE(name->text(), QString("view12"));
        QCOMPARE(clicks.count(), 2);
    }

    void aClickOnAnEmptyPlaceSelectsItAndOnAViewFliesTheCameraAndTheSunThere()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Camera* live = hub->camera();
        live->setPosition(0, -6, 2);
        live->setProjectionType(Velda::Camera::kOrthographic);
        hub->setOrbitPivot(Vector3(0, 0, 0));
        Sun sun;
        std::unique_ptr<WidgetGallery> gallery = shownGallery(&sun);
        WidgetThumbnail* five = gallery->thumbnails()[4];
        QVERIFY(!five->cover()->isHidden());
        five->click();
        QVERIFY(five->isChecked() && five->cover()->isHidden());
        QVERIFY(!hub->flying());
        QCOMPARE(live->getPosition(), Vector3(0, -6, 2));
        QCOMPARE(sun.received, 0);

        WidgetThumbnail* two = gallery->thumbnails()[1];
        const Vector3 position(4, -3, 2.5f), target(1, 0.5f, 0);
        fillView(two, cameraAt(position, target, 40.0f), target, qRgb(90, 90, 200));
        two->click();
        // Selecting another puts the cover back on the last.
        QVERIFY(!five->cover()->isHidden());
        // The pivot is there at once, planes and type before the flight.
        QCOMPARE(hub->orbitPivot(), target);
        QCOMPARE(live->getNear(), 0.02f);
        QCOMPARE(live->getFar(), 20.0f);
        QCOMPARE(live->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));
        // The first step is taken at once, the rest on the GUI thread's clock.
        QVERIFY(hub->flying() && sun.received >= 1);
        // A second click while it flies starts no second flight.
        FlightTimer* flight = two->flight();
        QVERIFY(flight);
        two->click();
        QCOMPARE(two->flight(), flight);
        QTRY_VERIFY(!hub->flying());
        QCOMPARE(sun.received, 100);
        QVERIFY(!sun.offThread);
        QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
        QVERIFY((live->getPosition() - position).length() < 1e-4f);
        const Velda::Vector4 back = live->getTransform().getColumn(2);
        QVERIFY((Vector3(back.x, back.y, back.z) - (position - target).normalized()).length() < 1e-4f);
        QVERIFY(std::abs(live->getFov() * 180.0 / 3.1415925 - 40.0) < 1e-3);
        // The sun runs by whole steps from its start and stops one step short.
        QVERIFY(std::abs(sun.azimuth - (0.25f + 99 * (1.25f - 0.25f) / 100)) < 1e-4f);
        QVERIFY(std::abs(sun.time - (0.5f + 99 * (2.5f - 0.5f) / 100)) < 1e-4f);
        QVERIFY(!two->transitionRunning());

        // Again, from exactly where the view stands (the flight's sums end a
        // rounding away): nothing to fly.
        live->setPosition(position);
        live->setFov(two->camera().getFov());
        sun.azimuth = 1.25f;
        sun.time = 2.5f;
        two->click();
        QVERIFY(!hub->flying() && !two->flight());
        QCOMPARE(sun.received, 100);
    }

    void aDragAcrossAThumbnailScrollsTheStripWithoutSelecting()
    {
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        QScrollBar* bar = gallery->scrollArea()->horizontalScrollBar();
        WidgetThumbnail* two = gallery->thumbnails()[1];
        const QPoint at(60, 40), global = two->mapToGlobal(at);
        sendMouse(two, QEvent::MouseButtonPress, at, Qt::LeftButton);
        // Leaving the button takes one move for the button itself; the next
        // catches up, as every move counts from the last one seen.
        for (const QPoint back : {QPoint(30, 0), QPoint(90, 5), QPoint(100, 5)})
            sendMouse(two, QEvent::MouseMove, at - back, Qt::LeftButton, global - back);
        sendMouse(two, QEvent::MouseButtonRelease, at - QPoint(100, 5), Qt::NoButton, global - QPoint(100, 5));
        QCOMPARE(bar->value(), 100);
        QVERIFY(!two->isChecked());

        // A press and a release in one place is a click.
        WidgetThumbnail* four = gallery->thumbnails()[3];
        sendMouse(four, QEvent::MouseButtonPress, at, Qt::LeftButton);
        sendMouse(four, QEvent::MouseButtonRelease, at, Qt::NoButton);
        QVERIFY(four->isChecked());

        // The wheel turns the strip sideways and is taken, so the view behind
        // keeps still. (A wheel over a thumbnail reaches the viewport.)
        const int before = bar->value();
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
        fillView(four, cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(1, 1, 0), qRgb(7, 7, 7));
        four->setChanged(false);
        QStringList seen;
        answerNextBox(press("NoConfirm"), &seen);
        QMetaObject::invokeMethod(four, "deleteThumbnailConfirm");
        QCOMPARE(seen, QStringList({"确定删除当前选中项?", "由 张三(1001) 于 2026-11-22 09:15 创建"}));
        QVERIFY(four->hasImage() && !four->changed());

        answerNextBox(press("YesConfirm"));
        QMetaObject::invokeMethod(four, "deleteThumbnailConfirm");
        QVERIFY(!four->hasImage());
        QVERIFY(four->changed());  // the service learns of it with the next save
        QCOMPARE(four->originText(), std::string());
        QCOMPARE(four->target(), Vector3());
        QCOMPARE(info.count(), 2);
        QCOMPARE(info.at(1).at(0).value<std::string>(), std::string("删除完毕!"));
        // The origin text names only what is known.
        four->setTime("2026-11-23 10:00");
        QCOMPARE(four->originText(), std::string(" 于 2026-11-23 10:00 创建"));
    }

    void downloadsWriteTheScriptOfOneViewOrOfAll()
    {
        TempDir dir;
        std::unique_ptr<WidgetGallery> gallery = shownGallery();
        WidgetThumbnail* three = gallery->thumbnails()[2];
        fillView(three, cameraAt(Vector3(1, 2, 3), Vector3()), Vector3(), qRgb(9, 9, 9));
        fillView(gallery->thumbnails()[6], cameraAt(Vector3(4, 5, 6), Vector3()), Vector3(), qRgb(8, 8, 8));
        answerNextFileDialog(dir.file("three.ms"));
        QMetaObject::invokeMethod(three, "saveThumbnailScript");
        QCOMPARE(fileText(dir.file("three.ms")), viewScriptLine(three));
        answerNextFileDialog(dir.file("all.ms"));
        emit three->saveAllThumbnailScript(true);
        QCOMPARE(fileText(dir.file("all.ms")), exportViewsScript(gallery.get()));
        QVERIFY(exportViewsScript(gallery.get()).find("QEMCam7") != std::string::npos);
    }

    void spaceAndTheButtonTakeViewsIntoTheFirstEmptyPlaces()
    {
        GraphicsContext::instance()->camera()->setPosition(1, 2, 3);
        Overlay overlay;
        overlay.wrapper.sunDial()->setLr(0.75f);
        overlay.space();
        WidgetThumbnail* one = overlay.view(1);
        QVERIFY(one->hasImage() && one->changed() && one->isChecked());
        QCOMPARE(one->lr(), 0.75f);
        QCOMPARE(one->camera().getTransform(), GraphicsContext::instance()->camera()->getTransform());
        const QString time = QString::fromStdString(one->time());
        QVERIFY(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d$").match(time).hasMatch());
        // Who took it comes from the sign module.
        QCOMPARE(overlay.status(), QString("相机  1/10  张三(%1)  1001").arg(time));
        QTRY_VERIFY(one->hasFocus());

        overlay.wrapper.takePhotoButton()->click();
        QVERIFY(overlay.view(2)->hasImage() && overlay.view(2)->isChecked() && !one->isChecked());
        QCOMPARE(overlay.status().left(8), QString("相机  2/10"));
        QVERIFY(!overlay.view(3)->hasImage());
    }

    void allTenTakenAndNoneFocusedAsksAboutViewOne()
    {
        Overlay overlay;
        for (int n = 1; n <= 10; ++n)
            fillView(overlay.view(n), cameraAt(Vector3(n, 0, 1), Vector3()), Vector3(), qRgb(n * 20, 0, 0));
        overlay.view(1)->setTime("2026-11-01 08:00");
        QWidget elsewhere(&overlay.wrapper);
        elsewhere.setFocus();

        QStringList seen;
        answerNextBox(press("NoConfirm"), &seen);
        overlay.space();
        QCOMPARE(seen, QStringList({"确定替换当前选中项?", "由 张三(1001) 于 2026-11-01 08:00 创建"}));
        QCOMPARE(overlay.view(1)->time(), std::string("2026-11-01 08:00"));

        answerNextBox(press("YesConfirm"));
        overlay.space();
        QVERIFY(overlay.view(1)->time() != "2026-11-01 08:00");
        QCOMPARE(overlay.view(1)->picture().pixel(5, 20), viewPicture(overlay.colour).pixel(5, 20));
        // The selection moves on: the next press offers to replace view 2.
        // (Without a window manager nobody activates the window again after
        // the dialog; a desktop does.)
        overlay.wrapper.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&overlay.wrapper));
        QTRY_VERIFY(overlay.view(2)->hasFocus());
        QVERIFY(overlay.view(2)->isChecked() && overlay.view(2)->cover()->isHidden());
        QVERIFY(!overlay.view(1)->cover()->isHidden());
        QCOMPARE(overlay.status().left(8), QString("相机  1/10"));
        seen.clear();
        answerNextBox(press("NoConfirm"), &seen);
        overlay.space();
        QCOMPARE(seen.value(1), QString::fromStdString(overlay.view(2)->originText()));
    }

    void aNewSelectionStopsTheFlightOfTheLast()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        hub->camera()->setPosition(0, -6, 2);
        Overlay overlay;
        fillView(overlay.view(1), cameraAt(Vector3(8, 8, 8), Vector3()), Vector3(), qRgb(1, 2, 3));
        std::atomic<int> steps{0};
        QObject::connect(overlay.wrapper.gallery(), &WidgetGallery::setRadValue, [&steps](float*) { ++steps; });
        overlay.view(1)->click();
        QTRY_VERIFY(steps > 0);
        overlay.view(7)->click();
        QTRY_VERIFY(!hub->flying());
        QVERIFY(steps < 100);
        QVERIFY((hub->camera()->getPosition() - Vector3(8, 8, 8)).length() > 0.1f);
        QVERIFY(!overlay.view(1)->transitionRunning());
    }

    void aSaveWhileSignedOutKeepsTheFlagsAndSaysSo()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        Overlay overlay;
        overlay.space();
        writeSession(2);
        emit overlay.wrapper.settingMenu()->saveButtonPressed(true);
        QTRY_COMPARE_WITH_TIMEOUT(overlay.wrapper.information()->text(), QString("秋木处于离线状态,请登录!"), 20000);
        QVERIFY(overlay.view(1)->changed());
        QCOMPARE(WebService::readRecordInfo(), std::string());
    }

    void aFailedUploadReachesTheGuardWithItsText()
    {
        // Storage that answers every upload with another digest.
        LocalServer storage;
        storage.http.Get("/project/get3drecordinfo.action",
                         [](const httplib::Request&, httplib::Response& res) { res.set_content("{}", "text/plain"); });
        storage.http.Get("/project/getshoticonuploadurl.action", [&](const httplib::Request&, httplib::Response& res) {
            res.set_content("{\"uploadurl\":\"" + storage.url() + "/put\"}", "application/json");
        });
        storage.http.Put("/put", [](const httplib::Request&, httplib::Response& res) {
            res.set_header("ETag", "\"00000000000000000000000000000000\"");
        });
        storage.start();
        ScopedEnv url("QEM_SERVICE_URL", storage.url());
        Overlay overlay;
        overlay.space();
        // The guard's dialog is not wanted here: take the result ourselves.
        QObject::disconnect(overlay.wrapper.saveWatcher(), nullptr, &overlay.wrapper, nullptr);
        emit overlay.wrapper.settingMenu()->saveButtonPressed(true);
        QString text;
        try {
            overlay.wrapper.saveWatcher()->waitForFinished();
        } catch (const std::exception& e) {
            text = QString::fromUtf8(e.what());
        }
        QCOMPARE(text, QString("MD5校验失败!"));
        QVERIFY(overlay.view(1)->changed());
    }

    void closingAsksOnlyWithChangesAndOnlyYesSavesBeforeTheWindowCloses()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        Overlay overlay;
        // Nothing changed: closed at once, without a question.
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        overlay.space();

        // Closed without an answer: the viewer goes on. No: closed, and the
        // service has heard nothing. Yes: saved before the windows closed.
        QStringList seen;
        answerNextBox([](WidgetMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); }, &seen);
        window.closed = false;
        window.show();
        overlay.wrapper._closeAppConfirm();
        QCOMPARE(seen, QStringList({"确定上传变更数据?"}));
        QVERIFY(!window.closed);
        answerNextBox(press("NoConfirm"));
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        QCOMPARE(WebService::readRecordInfo(), std::string());
        window.closed = false;
        window.show();
        answerNextBox(press("YesConfirm"));
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        QVERIFY(WebService::readRecordInfo().find("\"1\"") != std::string::npos);
    }

    void theSettingPanelOpensUnderTheMenuAndShrinkingClosesIt()
    {
        Overlay overlay;
        WidgetSettingPanel* panel = overlay.wrapper.settingPanel();
        QPushButton* setting = overlay.wrapper.settingMenu()->findChild<QPushButton*>("Setting");
        setting->click();
        QVERIFY(!panel->isHidden());
        QCOMPARE(panel->pos(), QPoint(10, 60));
        setting->click();
        QVERIFY(panel->isHidden());
        setting->click();
        overlay.wrapper.settingMenu()->findChild<QPushButton*>("Shrink")->click();
        QVERIFY(panel->isHidden());

        // Tab and a double click show and hide the gallery.
        QTest::keyClick(&overlay.wrapper, Qt::Key_Tab);
        QVERIFY(overlay.wrapper.gallery()->isHidden());
        QTest::mouseDClick(&overlay.wrapper, Qt::LeftButton, Qt::NoModifier, QPoint(500, 300));
        QVERIFY(!overlay.wrapper.gallery()->isHidden());
    }
};

VELDA_VIEWER_TEST_MAIN(GalleryTest)
#include "GalleryTest.moc"
