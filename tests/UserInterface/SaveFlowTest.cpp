// The overlay's saved-view flows: taking a view by Space and by the button,
// the replace question when all ten are taken, the status of the selected
// view, the save job with its two results, the exit flow with changed
// views, and the setting panel's place.
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetGallery.h"
#include "UserInterface/Widgets/WidgetInformation.h"
#include "UserInterface/Widgets/WidgetSettingMenu.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "scene/Camera.h"
#include "service/WebService.h"

#include "LocalServer.h"
#include "SavedViewsTestSupport.h"
#include "ServiceHarness.h"
#include "ViewerTestMain.h"

#include <QCryptographicHash>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QThreadPool>

#include <rapidjson/document.h>

#include <atomic>
#include <memory>

using namespace VeldaClient;
using namespace VeldaTest;
using Velda::Vector3;

namespace {

ApplicationMain* app()
{
    return static_cast<ApplicationMain*>(QCoreApplication::instance());
}

// The overlay as the scene holds it, shown, with the scene's part of taking
// a view played by a picture of the given colour, stored as the scene does.
struct Overlay {
    WidgetUIWrapper wrapper;
    QRgb colour = qRgb(120, 40, 40);

    Overlay()
    {
        QObject::connect(&wrapper, &WidgetUIWrapper::screenShot, [this](QWidget* widget) {
            auto* view = qobject_cast<WidgetThumbnail*>(widget);
            GraphicsContext* hub = GraphicsContext::instance();
            view->setPicture(viewPicture(colour));
            view->setCamera(*hub->camera());
            view->setTarget(hub->orbitPivot());
            view->setHasImage(false);
            view->click();
            view->setHasImage(true);
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
    // Saves through the menu's signal and waits for the job's message.
    QString save()
    {
        emit wrapper.settingMenu()->saveButtonPressed(true);
        if (!QTest::qWaitFor([this]() { return wrapper.information()->text() != "数据保存中..."; }, 20000))
            return "no answer";
        return wrapper.information()->text();
    }
};

rapidjson::Document record()
{
    rapidjson::Document d;
    d.Parse(WebService::readRecordInfo().c_str());
    return d;
}

} // namespace

class SaveFlowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<std::string>("std::string");
        qRegisterMetaType<float*>("float*");
    }
    void init()
    {
        GraphicsContext::instance()->setApplication(app());
        VeldaTest::environment().writeSession(1);
    }
    void cleanup()
    {
        QThreadPool::globalInstance()->waitForDone();
        GraphicsContext::destroyInstance();
    }

    void spaceAndTheButtonTakeViewsIntoTheFirstEmptyPlaces()
    {
        GraphicsContext::instance()->camera()->setPosition(1, 2, 3);
        Overlay overlay;
        overlay.wrapper.sunDial()->setLr(0.75f);
        overlay.space();
        WidgetThumbnail* one = overlay.view(1);
        QVERIFY(one->hasImage() && one->changed());
        QCOMPARE(one->lr(), 0.75f);
        QCOMPARE(one->tr(), overlay.wrapper.sunDial()->tr());
        QCOMPARE(one->user(), std::wstring(L"张三"));
        QCOMPARE(one->qemidText(), std::string("1001"));
        QVERIFY(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d$").match(QString::fromStdString(one->time())).hasMatch());
        QCOMPARE(one->camera().getTransform(), GraphicsContext::instance()->camera()->getTransform());
        QTRY_VERIFY(one->hasFocus());
        QVERIFY(one->isChecked());
        QCOMPARE(overlay.status(), QString("相机  1/10  张三(%1)  1001").arg(QString::fromStdString(one->time())));

        overlay.wrapper.takePhotoButton()->click();
        QVERIFY(overlay.view(2)->hasImage());
        QVERIFY(overlay.view(2)->isChecked() && !one->isChecked());
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
        answerNextBox(pressNo, &seen);
        overlay.space();
        QCOMPARE(seen, QStringList({"确定替换当前选中项?", "由 张三(1001) 于 2026-11-01 08:00 创建"}));
        QCOMPARE(overlay.view(1)->time(), std::string("2026-11-01 08:00"));

        answerNextBox(pressYes);
        overlay.space();
        QVERIFY(overlay.view(1)->time() != "2026-11-01 08:00");
        QCOMPARE(overlay.view(1)->picture().pixel(5, 20), viewPicture(overlay.colour).pixel(5, 20));
        // The selection moves on: the next press offers to replace view 2.
        QVERIFY(overlay.view(2)->isChecked());
        // Without a window manager nobody activates the window again after
        // the dialog; a desktop does.
        overlay.wrapper.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&overlay.wrapper));
        QTRY_VERIFY(overlay.view(2)->hasFocus());
        QVERIFY(overlay.view(2)->cover()->isHidden() && !overlay.view(1)->cover()->isHidden());
        QCOMPARE(overlay.status().left(8), QString("相机  1/10"));
        seen.clear();
        answerNextBox(pressNo, &seen);
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
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY(steps < 100);
        QVERIFY((hub->camera()->getPosition() - Vector3(8, 8, 8)).length() > 0.1f);
        QVERIFY(!overlay.view(1)->transitionRunning());
    }

    void aSaveSendsPicturesRecordAndScriptAndClearsTheFlags()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        Overlay overlay;
        overlay.space();
        overlay.colour = qRgb(30, 160, 60);
        GraphicsContext::instance()->camera()->setPosition(2, 2, 2);
        overlay.space();
        QCOMPARE(overlay.save(), QString("保存完毕!"));
        QVERIFY(!overlay.wrapper.gallery()->anyChanged());
        const rapidjson::Document saved = record();
        QVERIFY(saved.IsObject());
        QCOMPARE(saved.MemberCount(), 2u);
        for (int n : {1, 2}) {
            const std::string img = overlay.view(n)->img();
            QCOMPARE(img, overlay.view(n)->md5() + ".png");
            QVERIFY(std::string(saved[std::to_string(n).c_str()].GetString()).find(img) != std::string::npos);
        }
        rapidjson::Document cameras;
        cameras.Parse(WebService::readCameras().c_str());
        const std::string script = cameras["camerainfo"].GetString();
        QVERIFY(script.find("QEMCam1") != std::string::npos && script.find("QEMCam2") != std::string::npos);

        // A deleted view is left out of the next record.
        answerNextBox(pressYes);
        QMetaObject::invokeMethod(overlay.view(2), "deleteThumbnailConfirm");
        QVERIFY(overlay.wrapper.gallery()->anyChanged());
        QCOMPARE(overlay.save(), QString("保存完毕!"));
        const rapidjson::Document after = record();
        QVERIFY(after.HasMember("1") && !after.HasMember("2"));
    }

    void aSaveWhileSignedOutKeepsTheFlagsAndSaysSo()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        Overlay overlay;
        overlay.space();
        VeldaTest::environment().writeSession(2);
        QCOMPARE(overlay.save(), QString("秋木处于离线状态,请登录!"));
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

    void closingWithoutChangesAsksNothingAndCallsNoService()
    {
        LocalServer service;
        std::atomic<int> calls{0};
        service.http.set_pre_routing_handler([&calls](const httplib::Request&, httplib::Response&) {
            ++calls;
            return httplib::Server::HandlerResponse::Unhandled;
        });
        service.start();
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        Overlay overlay;
        const int atStart = calls;  // the record read
        QCOMPARE(atStart, 1);
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        QCOMPARE(int(calls), atStart);
    }

    void closingWithChangesAsksAndOnlyYesSavesBeforeTheWindowCloses()
    {
        ServiceHarness service;
        ScopedEnv url("QEM_SERVICE_URL", service.url());
        CloseProbe window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        Overlay overlay;
        overlay.space();

        // Closed without an answer: the viewer goes on.
        QStringList seen;
        answerNextBox([](WidgetMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); }, &seen);
        overlay.wrapper._closeAppConfirm();
        QCOMPARE(seen, QStringList({"确定上传变更数据?"}));
        QVERIFY(!window.closed);
        QVERIFY(!overlay.wrapper.isHidden());

        // No: closed, and the service has heard nothing.
        answerNextBox(pressNo);
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        QCOMPARE(WebService::readRecordInfo(), std::string());

        // Yes: saved before the windows closed.
        window.closed = false;
        window.show();
        answerNextBox(pressYes);
        overlay.wrapper._closeAppConfirm();
        QVERIFY(window.closed);
        QVERIFY(record().HasMember("1"));
    }

    void theSettingPanelOpensUnderTheMenuAndShrinkingClosesIt()
    {
        Overlay overlay;
        WidgetSettingPanel* panel = overlay.wrapper.settingPanel();
        QVERIFY(panel->isHidden());
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

VELDA_VIEWER_TEST_MAIN(SaveFlowTest)
#include "SaveFlowTest.moc"
