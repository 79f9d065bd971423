#include "UserInterface/Widgets/WidgetSettingMenu.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "assets/AssetManager.h"
#include "render/Context3d.h"
#include "scene/Camera.h"

#include <QHBoxLayout>
#include <QPropertyAnimation>
#include <QPushButton>

namespace VeldaClient {

WidgetSettingMenu::WidgetSettingMenu(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

QPushButton* WidgetSettingMenu::addButton(const char* name, const char* tooltip)
{
    QPushButton* button = new QPushButton(this);
    button->setObjectName(name);
    button->setToolTip(QString::fromUtf8(tooltip));
    button->setFixedSize(46, 46);
    button->setIconSize(QSize(46, 46));
    return button;
}

void WidgetSettingMenu::initializeControls()
{
    save_ = addButton("Save", "保存(Ctrl+S)");
    cameraA_ = addButton("CameraA", "切换正交相机(C)");
    cameraB_ = addButton("CameraB", "切换透视相机(C)");
    whiteModelWhite_ = addButton("WhiteModelWhite", "切换白模视图(B)");
    whiteModelLight_ = addButton("WhiteModelLight", "切换贴图视图(B)");
    season_ = addButton("Season", "开发中");
    setting_ = addButton("Setting", "设置");
    shrink_ = addButton("Shrink", "缩进菜单");
    expand_ = addButton("Expand", "展开菜单");
    cameraB_->hide();
    whiteModelLight_->hide();
    expand_->hide();

    connect(save_, SIGNAL(clicked(bool)), this, SIGNAL(saveButtonPressed(bool)));
    connect(cameraA_, SIGNAL(clicked(bool)), this, SLOT(toggleCameraType(bool)));
    connect(cameraB_, SIGNAL(clicked(bool)), this, SLOT(toggleCameraType(bool)));
    connect(whiteModelWhite_, SIGNAL(clicked(bool)), this, SLOT(toggleWhiteModel(bool)));
    connect(whiteModelLight_, SIGNAL(clicked(bool)), this, SLOT(toggleWhiteModel(bool)));
    connect(season_, SIGNAL(clicked(bool)), this, SLOT(switchSeason(bool)));
    connect(setting_, SIGNAL(clicked(bool)), this, SIGNAL(configButtonPressed(bool)));
    connect(shrink_, SIGNAL(clicked(bool)), this, SLOT(togglePanelVisiable(bool)));
    connect(shrink_, SIGNAL(clicked(bool)), this, SIGNAL(shrinkSettingMenu(bool)));
    connect(expand_, SIGNAL(clicked(bool)), this, SLOT(togglePanelVisiable(bool)));

    QHBoxLayout* layout = new QHBoxLayout(this);
    for (QPushButton* button :
         {save_, cameraA_, cameraB_, whiteModelWhite_, whiteModelLight_, season_, setting_, shrink_, expand_})
        layout->addWidget(button);
    layout->addStretch();
    layout->setSpacing(1);
    layout->setMargin(0);

    slide_ = new QPropertyAnimation(this, "menuPosX", this);
    connect(this, SIGNAL(menuPosXChanged()), this, SLOT(_hideConfigPanelButton()));

    if (ApplicationMain* application = GraphicsContext::instance()->application()) {
        application->registerKeyHandler(Qt::Key_C, keyHandler(this, &WidgetSettingMenu::_switchCamera));
        application->registerKeyHandler(Qt::Key_B, keyHandler(this, &WidgetSettingMenu::_whiteModelKey));
        application->registerKeyHandler(Qt::Key_S, keyHandler(this, &WidgetSettingMenu::_saveKey));
    }
}

void WidgetSettingMenu::setMenuPosX(int x)
{
    move(x, y());
    emit menuPosXChanged();
}

void WidgetSettingMenu::toggleCameraType(bool)
{
    // One of the two buttons shows at a time.
    switchCameraType(!cameraA_->isVisibleTo(this));
}

void WidgetSettingMenu::switchCameraType(bool flag)
{
    cameraA_->setVisible(flag);
    cameraB_->setVisible(!flag);
    GraphicsContext::instance()->camera()->setProjectionType(flag ? Velda::Camera::kPerspective
                                                                  : Velda::Camera::kOrthographic);
    GraphicsContext::instance()->requestFrame();
    emit displayInfo(flag ? "透视相机" : "正交相机");
}

void WidgetSettingMenu::switchSeason(bool) {}

void WidgetSettingMenu::toggleWhiteModel(bool)
{
    toggleWhiteModel();
}

void WidgetSettingMenu::toggleWhiteModel()
{
    Velda::AssetManager* assets = Velda::AssetManager::instance();
    if (!assets || !assets->isReady())
        return;
    whiteModelWhite_->setVisible(!whiteModelWhite_->isVisibleTo(this));
    whiteModelLight_->setVisible(!whiteModelLight_->isVisibleTo(this));
    Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
    context3d->whiteModel = !whiteModelWhite_->isVisibleTo(this);
    context3d->variantsDirty = true;
    GraphicsContext::instance()->requestFrame();
    emit displayInfo(context3d->whiteModel ? "白模场景" : "贴图场景");
}

void WidgetSettingMenu::setAssetLoadComplete(bool flag)
{
    assetLoadComplete_ = flag;
}

void WidgetSettingMenu::togglePanelVisiable(bool)
{
    shrink_->setVisible(!shrink_->isVisibleTo(this));
    expand_->setVisible(!expand_->isVisibleTo(this));
    slide_->setDuration(180);
    slide_->setStartValue(x());
    slide_->setEndValue(x() + width() < 51 ? 285 - width() : 50 - width());
    slide_->start();
}

void WidgetSettingMenu::_hideConfigPanelButton()
{
    setting_->setEnabled(x() >= 0);
}

bool WidgetSettingMenu::_switchCamera(QObject* obj, QKeyEvent*)
{
    if ((obj && obj->objectName().contains("WidgetMessageBox")))
        return false;
    switchCameraType(GraphicsContext::instance()->camera()->getProjectionType() == Velda::Camera::kOrthographic);
    return true;
}

bool WidgetSettingMenu::_whiteModelKey(QObject*, QKeyEvent*)
{
    toggleWhiteModel(true);
    return true;
}

bool WidgetSettingMenu::_saveKey(QObject*, QKeyEvent* e)
{
    if (e->modifiers() & Qt::ControlModifier)
        emit saveButtonPressed(true);
    return true;
}

} // namespace VeldaClient
