// The setting menu and panel: the sliders' labels and the fields they
// write, the camera and white-model switches with their keys, and the
// slide of the strip.
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetSettingMenu.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "assets/AssetManager.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SpotLight.h"

#include "GLHarness.h"
#include "ViewerTestMain.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>

#include <memory>

using namespace VeldaClient;

Q_DECLARE_METATYPE(std::string)

namespace {

ApplicationMain* app()
{
    return static_cast<ApplicationMain*>(QCoreApplication::instance());
}

// The value label of each row, in row order.
QList<QLabel*> valueLabels(WidgetSettingPanel& panel)
{
    QList<QLabel*> values;
    const QList<QLabel*> labels = panel.findChildren<QLabel*>();
    for (int i = 1; i < labels.size(); i += 2)
        values << labels[i];
    return values;
}

std::string lastInfo(const QSignalSpy& spy)
{
    return spy.isEmpty() ? std::string() : spy.last().at(0).value<std::string>();
}

QPushButton* button(WidgetSettingMenu* menu, const char* name)
{
    return menu->findChild<QPushButton*>(name);
}

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<std::string>("std::string"); }
    void init() { GraphicsContext::instance()->setApplication(app()); }
    void cleanup() { GraphicsContext::destroyInstance(); }

    void theSlidersStartAtTheEngineDefaultsWithoutPushingThem()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Context3d* context3d = hub->context3d();
        const float near = hub->camera()->getNear();
        const float speed = hub->rotationSpeed();
        WidgetSettingPanel panel;
        QCOMPARE(panel.objectName(), QString("SettingPanel"));
        QStringList texts;
        for (QLabel* label : valueLabels(panel))
            texts << label->text();
        QCOMPARE(texts, QStringList({"0", "中级", "0.45", "30", "0.21", "0.00"}));
        const QList<QSlider*> sliders = panel.findChildren<QSlider*>();
        QCOMPARE(sliders.size(), 6);
        QCOMPARE(sliders[5]->minimum(), 200);
        QCOMPARE(sliders[5]->maximum(), 300);
        // No slot ran: the engine keeps its own values.
        QCOMPARE(hub->camera()->getNear(), near);
        QCOMPARE(hub->rotationSpeed(), speed);
        QCOMPARE(context3d->shadowShade, 0.45f);
        QCOMPARE(context3d->bloomCoefficient, 0.21f);
        QCOMPARE(context3d->ssaoPower, 1.0f);
        QCOMPARE(context3d->ssaoKernelSize, 32.0f);
    }

    void eachSliderWritesItsFieldAndLabel()
    {
        GraphicsContext* hub = GraphicsContext::instance();
        Velda::Context3d* context3d = hub->context3d();
        WidgetSettingPanel panel;
        const QList<QSlider*> sliders = panel.findChildren<QSlider*>();
        const QList<QLabel*> values = valueLabels(panel);

        sliders[0]->setValue(57);
        QCOMPARE(values[0]->text(), QString("5"));  // whole tenths
        QCOMPARE(hub->camera()->getNear(), static_cast<float>(57 / 500.0));
        QVERIFY(hub->camera()->isProjectionDirty());

        // Off and medium have the same map size; only the light's switch differs.
        const unsigned base = static_cast<unsigned>(context3d->shadowBaseWidth);
        sliders[1]->setValue(0);
        QCOMPARE(values[1]->text(), QString("关闭"));
        QCOMPARE(context3d->shadowWidth, base);
        QVERIFY(!hub->spotLight()->getCastShadow());
        sliders[1]->setValue(1);
        QCOMPARE(values[1]->text(), QString("低级"));
        QCOMPARE(context3d->shadowWidth, base / 2);
        QVERIFY(hub->spotLight()->getCastShadow());
        sliders[1]->setValue(3);
        QCOMPARE(values[1]->text(), QString("高级"));
        QCOMPARE(context3d->shadowHeight, static_cast<unsigned>(context3d->shadowBaseHeight) * 2);
        sliders[1]->setValue(2);
        QCOMPARE(values[1]->text(), QString("中级"));
        QCOMPARE(context3d->shadowWidth, base);

        sliders[2]->setValue(7);
        QCOMPARE(values[2]->text(), QString("0.07"));
        QCOMPARE(context3d->shadowShade, 0.07f);
        sliders[3]->setValue(100);
        QCOMPARE(values[3]->text(), QString("100"));
        QCOMPARE(hub->rotationSpeed(), 0.02f);
        sliders[4]->setValue(0);
        QCOMPARE(values[4]->text(), QString("0.00"));
        QCOMPARE(context3d->bloomCoefficient, 0.0f);

        // The label runs 0 to 1 while the power runs 1 to 1.5 and the kernel 32 to 64.
        sliders[5]->setValue(300);
        QCOMPARE(values[5]->text(), QString("1.00"));
        QCOMPARE(context3d->ssaoPower, 1.5f);
        QCOMPARE(context3d->ssaoKernelSize, 64.0f);
        sliders[5]->setValue(250);
        QCOMPARE(values[5]->text(), QString("0.50"));
        QCOMPARE(context3d->ssaoPower, 1.25f);
        QCOMPARE(context3d->ssaoKernelSize, 48.0f);
        sliders[5]->setValue(200);
        QCOMPARE(values[5]->text(), QString("0.00"));
        QCOMPARE(context3d->ssaoPower, 1.0f);  // SSAO off again
    }

    void cameraTypeSwitchesByButtonAndByKeyButNotInADialog()
    {
        Velda::Camera* camera = GraphicsContext::instance()->camera();
        WidgetSettingMenu menu;
        QSignalSpy info(&menu, SIGNAL(displayInfo(std::string)));
        QVERIFY(button(&menu, "CameraB")->isHidden());

        button(&menu, "CameraA")->click();
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
        QVERIFY(button(&menu, "CameraA")->isHidden() && !button(&menu, "CameraB")->isHidden());
        QCOMPARE(lastInfo(info), std::string("正交相机"));
        button(&menu, "CameraB")->click();
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));
        QCOMPARE(lastInfo(info), std::string("透视相机"));

        QWidget view;
        QTest::keyClick(&view, Qt::Key_C);
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
        QTest::keyClick(&view, Qt::Key_C);
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));

        // C pressed in the message box is the box's.
        QWidget box;
        box.setObjectName("WidgetMessageBox");
        QTest::keyClick(&box, Qt::Key_C);
        QCOMPARE(camera->getProjectionType(), static_cast<int32_t>(Velda::Camera::kPerspective));
    }

    void whiteModelWaitsForTheSceneAndBTogglesIt()
    {
        Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
        WidgetSettingMenu menu;
        QSignalSpy info(&menu, SIGNAL(displayInfo(std::string)));
        QWidget view;
        QTest::keyClick(&view, Qt::Key_B);
        QVERIFY(!context3d->whiteModel);
        QVERIFY(info.isEmpty());
        QVERIFY(button(&menu, "WhiteModelLight")->isHidden());

        // A scene with nothing left to load is ready.
        VeldaTest::GLContext gl;
        new Velda::AssetManager(context3d);
        QTest::keyClick(&view, Qt::Key_B);
        QVERIFY(context3d->whiteModel);
        QVERIFY(context3d->variantsDirty);
        QVERIFY(button(&menu, "WhiteModelWhite")->isHidden() && !button(&menu, "WhiteModelLight")->isHidden());
        QCOMPARE(lastInfo(info), std::string("白模场景"));
        button(&menu, "WhiteModelLight")->click();
        QVERIFY(!context3d->whiteModel);
        QCOMPARE(lastInfo(info), std::string("贴图场景"));
        GraphicsContext::destroyInstance();  // the manager goes while GL is there
    }

    void theStripSlidesOutToItsExpandButtonAndBack()
    {
        WidgetSettingMenu menu;
        menu.setFixedSize(280, 50);
        menu.move(10, 10);
        QSignalSpy shrink(&menu, SIGNAL(shrinkSettingMenu(bool)));
        button(&menu, "Shrink")->click();
        QCOMPARE(shrink.count(), 1);
        QVERIFY(button(&menu, "Shrink")->isHidden() && !button(&menu, "Expand")->isHidden());
        QTRY_COMPARE(menu.x(), -230);
        QCOMPARE(menu.y(), 10);
        // The panel can't open from a strip that is pushed out.
        QVERIFY(!button(&menu, "Setting")->isEnabled());

        button(&menu, "Expand")->click();
        QTRY_COMPARE(menu.x(), 5);
        QVERIFY(button(&menu, "Setting")->isEnabled());
        QVERIFY(!button(&menu, "Shrink")->isHidden() && button(&menu, "Expand")->isHidden());
        QCOMPARE(shrink.count(), 1);  // expanding closes nothing
    }
};

VELDA_VIEWER_TEST_MAIN(SettingsTest)
#include "SettingsTest.moc"
