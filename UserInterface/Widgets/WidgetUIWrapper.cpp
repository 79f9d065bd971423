#include "UserInterface/Widgets/WidgetUIWrapper.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/DialogParent.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "UserInterface/Widgets/ReviewTools.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetGallery.h"
#include "UserInterface/Widgets/WidgetInformation.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetSettingMenu.h"
#include "UserInterface/Widgets/WidgetSettingPanel.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "service/QemDllImport.h"
#include "service/SavedViewStore.h"
#include "service/SavedViews.h"

#include <QApplication>
#include <QDateTime>
#include <QException>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QResizeEvent>
#include <QTimer>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

namespace VeldaClient {

namespace {

// Carries a failed save's text through the future to the GUI thread, where
// the application's guard shows it; a plain std::exception would arrive
// without its text.
class SaveFailure : public QException {
public:
    explicit SaveFailure(const char* text) : text_(text) {}
    const char* what() const noexcept override { return text_.c_str(); }
    void raise() const override { throw *this; }
    SaveFailure* clone() const override { return new SaveFailure(*this); }

private:
    std::string text_;
};

} // namespace

WidgetUIWrapper::WidgetUIWrapper(QWidget* parent) : QFrame(parent)
{
    qRegisterMetaType<std::string>("std::string");
    qRegisterMetaType<float*>("float*");
    initializeControls();
}

WidgetUIWrapper::~WidgetUIWrapper()
{
    // A save still running reads the gallery: let it end first. Its
    // failure, if any, has no one left to tell.
    try {
        saveWatcher_->waitForFinished();
    } catch (...) {
    }
}

void WidgetUIWrapper::initializeControls()
{
    settingMenu_ = new WidgetSettingMenu(this);
    settingMenu_->setFixedSize(280, 50);
    settingMenu_->move(10, 10);
    settingPanel_ = new WidgetSettingPanel(this);
    settingPanel_->setFixedSize(280, 210);
    settingPanel_->hide();
    sunDial_ = new WidgetEnvironmentControl(this);
    sunDial_->setFixedSize(134, 134);
    miniMap_ = new WidgetMiniMap(this);
    gallery_ = new WidgetGallery(this);
    gallery_->resize(840, 120);
    gallery_->setAcceptDrops(false);
    takePhoto_ = new QPushButton(this);
    takePhoto_->setProperty("TakePhoto", true);
    takePhoto_->setFixedSize(46, 46);
    takePhoto_->setIconSize(QSize(42, 42));
    takePhoto_->setToolTip("定相机");

    totalPiece_ = new QLabel();
    totalPiece_->setObjectName("TotalPiece");
    modelInfo_ = new QLabel();
    modelInfo_->setObjectName("ModelInfo");
    modelInfo_->setMaximumHeight(12);
    const ProjectInfo* info = GraphicsContext::instance()->projectInfo();
    modelInfo_->setText(QString::fromUtf8(
        ("模型上传:" + info->uploader + "(" + info->uploaderqemid + ")\t" + info->uploadtime).c_str()));
    formBottom_ = new QLabel();
    formBottom_->setProperty("FormBottom", true);
    formBottom_->setMaximumHeight(12);
    frameSpace_ = new QFrame();
    frameSpace_->setObjectName("FrameSpace");
    frameSpace_->setMinimumWidth(2);

    statusFrame_ = new QFrame(this);
    statusFrame_->setObjectName("StatusFrame");
    statusFrame_->setFixedHeight(23);
    statusFrame_->move(0, 500);
    QHBoxLayout* status = new QHBoxLayout(statusFrame_);
    status->setMargin(0);
    status->addWidget(totalPiece_);
    status->addWidget(formBottom_);
    status->addStretch();
    status->addWidget(frameSpace_);
    status->addWidget(modelInfo_);

    frameTopBorder_ = new QFrame();
    frameTopBorder_->setObjectName("FrameTopBorder");
    frameTopBorder_->setFixedHeight(2);
    information_ = new WidgetInformation();
    information_->setObjectName("WidgetInformation");
    information_->setMaximumHeight(55);

    QHBoxLayout* middle = new QHBoxLayout();
    middle->addStretch();
    middle->addWidget(information_);
    middle->addStretch();
    QVBoxLayout* outer = new QVBoxLayout(this);
    outer->setMargin(0);
    outer->addWidget(frameTopBorder_);
    outer->addStretch();
    outer->addLayout(middle);
    outer->addStretch();
    outer->addWidget(statusFrame_);

    reviewTools_ = new ReviewTools(this);
    connect(reviewTools_, SIGNAL(displayInfo(std::string)), this, SIGNAL(displayInfo(std::string)));

    saveWatcher_ = new QFutureWatcher<bool>(this);
    connect(saveWatcher_, SIGNAL(finished()), this, SLOT(_saveFinished()));
    clientTimer_ = new QTimer(this);
    clientTimer_->setInterval(1000);
    connect(clientTimer_, SIGNAL(timeout()), this, SLOT(_checkQemClient()));

    connect(this, SIGNAL(switchCameraType(bool)), settingMenu_, SLOT(switchCameraType(bool)));
    connect(this, SIGNAL(toggleWhiteModel(bool)), settingMenu_, SLOT(toggleWhiteModel(bool)));
    connect(settingMenu_, SIGNAL(shrinkSettingMenu(bool)), this, SLOT(_closeSettingPanel(bool)));
    connect(settingMenu_, SIGNAL(displayInfo(std::string)), this, SIGNAL(displayInfo(std::string)));
    connect(this, SIGNAL(setAssetLoadComplete(bool)), settingMenu_, SLOT(setAssetLoadComplete(bool)));
    connect(settingMenu_, SIGNAL(configButtonPressed(bool)), this, SLOT(_configSettings(bool)));
    connect(settingMenu_, SIGNAL(saveButtonPressed(bool)), this, SLOT(_asyncSaveInfo(bool)));
    connect(gallery_, SIGNAL(thumbnailClicked(bool)), this, SLOT(_switchSelectedItem(bool)));
    connect(gallery_, SIGNAL(fetchRadValue()), this, SLOT(_fetchRadValue()));
    connect(gallery_, SIGNAL(setRadValue(float*)), this, SLOT(_setRadValue(float*)));
    connect(gallery_, SIGNAL(displayInfo(std::string)), this, SIGNAL(displayInfo(std::string)));
    connect(takePhoto_, SIGNAL(clicked(bool)), this, SLOT(_takeScreenShot(bool)));
    connect(this, SIGNAL(displayInfo(std::string)), information_, SLOT(display(std::string)));

    if (ApplicationMain* application = GraphicsContext::instance()->application()) {
        application->registerKeyHandler(Qt::Key_Tab, keyHandler(this, &WidgetUIWrapper::_toggleGallery));
        application->registerKeyHandler(Qt::Key_Escape, keyHandler(this, &WidgetUIWrapper::_quitConfirm));
        application->registerKeyHandler(Qt::Key_Space, keyHandler(this, &WidgetUIWrapper::_takeViewKey));
    }
    // A model opened from a file has no companion client to follow.
    if (GraphicsContext::instance()->savedViewStore()->followsClient())
        clientTimer_->start();
}

bool WidgetUIWrapper::_toggleGallery(QObject*, QKeyEvent*)
{
    gallery_->setVisible(!gallery_->isVisibleTo(this));
    return true;
}

bool WidgetUIWrapper::_takeViewKey(QObject*, QKeyEvent*)
{
    _takeScreenShot(false);
    return true;
}

void WidgetUIWrapper::mouseDoubleClickEvent(QMouseEvent* event)
{
    _toggleGallery(this, nullptr);
    QFrame::mouseDoubleClickEvent(event);
}

void WidgetUIWrapper::resizeEvent(QResizeEvent* event)
{
    const int w = event->size().width();
    const int h = event->size().height();
    sunDial_->move(w - 154, h - 150);
    sunDial_->setPosition(static_cast<float>(w), static_cast<float>(h));
    miniMap_->move(w - miniMap_->width() - 4, 4);
    takePhoto_->move(w - takePhoto_->width() - 21, (h - takePhoto_->height()) / 2);
    gallery_->move(10, h - gallery_->height() - 13);
    gallery_->setFixedWidth(w - 180);
    reviewTools_->place(w, h, settingMenu_->geometry(), miniMap_->geometry(), gallery_->y());
    QFrame::resizeEvent(event);
}

void WidgetUIWrapper::_configSettings(bool)
{
    settingPanel_->move(settingMenu_->x(), settingMenu_->y() + settingMenu_->height());
    settingPanel_->setVisible(!settingPanel_->isVisibleTo(this));
}

void WidgetUIWrapper::_closeSettingPanel(bool)
{
    settingPanel_->hide();
}

float* WidgetUIWrapper::_fetchRadValue()
{
    return new float[2]{sunDial_->lr(), sunDial_->tr()};
}

void WidgetUIWrapper::_setRadValue(float* values)
{
    sunDial_->setLr(values[0]);
    sunDial_->setTr(values[1]);
    delete[] values;
}

void WidgetUIWrapper::_switchSelectedItem(bool)
{
    WidgetThumbnail* selected = gallery_->focusedThumbnail();
    const std::string time = selected->time();
    const QString timePart = time.empty() ? QString() : QString("(%1)").arg(QString::fromStdString(time));
    const QString status = QString("相机  %1/10  %2%3  %4")
                               .arg(selected->number())
                               .arg(QString::fromStdWString(selected->user()))
                               .arg(timePart)
                               .arg(QString::fromStdString(selected->qemidText()));
    // A view that came with selected objects (from BCF) selects them again.
    const std::vector<std::string> components = selected->components();
    if (!components.empty())
        reviewTools_->selectSources(components);
    // A new selection stops the flight of every other view.
    for (WidgetThumbnail* thumbnail : gallery_->thumbnails())
        if (!thumbnail->isChecked())
            thumbnail->setTransitionRunning(false);
    formBottom_->setText(status);
}

void WidgetUIWrapper::_takeScreenShot(bool)
{
    _takeScreenShot();
}

void WidgetUIWrapper::_takeScreenShot()
{
    const std::vector<WidgetThumbnail*> thumbnails = gallery_->thumbnails();
    WidgetThumbnail* target = nullptr;
    for (WidgetThumbnail* thumbnail : thumbnails)
        if (!thumbnail->hasImage()) {
            target = thumbnail;
            break;
        }
    if (!target) {
        for (WidgetThumbnail* thumbnail : thumbnails)
            if (thumbnail->hasFocus()) {
                target = thumbnail;
                break;
            }
        if (!target) {
            target = thumbnails.front();
            target->setFocus();
        }
        WidgetMessageBox box(dialogParent(this));
        if (box.ask("确定替换当前选中项?", target->originText()) != WidgetMessageBox::kYes)
            return;
    }

    emit screenShot(target);
    // The objects selected with it go out with the view as BCF; a view
    // taken with none keeps none.
    target->setComponents(reviewTools_->selectedSources());
    target->setLr(sunDial_->lr());
    target->setTr(sunDial_->tr());
    target->setHasImage(true);
    ProjectInfo* info = GraphicsContext::instance()->projectInfo();
    target->setUser(info->userName);
    target->setQemidText(std::to_string(info->qemid));
    target->setTime(QDateTime::currentDateTime().toString("yyyy-MM-dd hh:mm").toStdString());
    target->setFocus();
    // The status was written by the grab's click, before the view had its
    // place and its user: write it again for the view just taken.
    _switchSelectedItem(false);

    for (WidgetThumbnail* thumbnail : thumbnails)
        if (!thumbnail->hasImage())
            return;
    // All ten are taken: the next press offers to replace the oldest view.
    target->cover()->show();
    target->setChecked(false);
    WidgetThumbnail* next = thumbnails[static_cast<size_t>(target->number() % 10)];
    next->cover()->hide();
    next->setFocus();
    next->setChecked(true);
}

bool WidgetUIWrapper::_saveInfo(bool)
{
    SavedViewStore* store = GraphicsContext::instance()->savedViewStore();
    if (!store->canSave())
        return false;
    // Pictures go up inside the record, the record before the script.
    store->saveRecord(serializeAllViews(gallery_));
    store->saveScript(exportViewsScript(gallery_));
    gallery_->clearChanged();
    return true;
}

bool WidgetUIWrapper::_saveInfo()
{
    return _saveInfo(true);
}

void WidgetUIWrapper::_asyncSaveInfo()
{
    emit displayInfo("数据保存中...");
    saveWatcher_->setFuture(QtConcurrent::run([this]() {
        try {
            return _saveInfo(true);
        } catch (const std::exception& e) {
            throw SaveFailure(e.what());
        }
    }));
}

void WidgetUIWrapper::_asyncSaveInfo(bool)
{
    _asyncSaveInfo();
}

void WidgetUIWrapper::_saveFinished()
{
    // A failure of the job comes out here, for the application's guard.
    const bool saved = saveWatcher_->future().result();
    emit displayInfo(saved ? "保存完毕!" : "秋木处于离线状态,请登录!");
}

void WidgetUIWrapper::_updateModelPieceInfo(unsigned long long qty)
{
    totalPiece_->setText(QString("总面数：%1").arg(qty));
}

void WidgetUIWrapper::_closeAppConfirm()
{
    if (!gallery_->anyChanged()) {
        QApplication::closeAllWindows();
        return;
    }
    WidgetMessageBox box(dialogParent(this));
    const int answer = box.ask("确定上传变更数据?", "");
    if (answer == WidgetMessageBox::kYes) {
        _asyncSaveInfo();
        // A failed save comes out here for the application's guard, and
        // the window stays with its views.
        saveWatcher_->waitForFinished();
        QApplication::closeAllWindows();
    } else if (answer == WidgetMessageBox::kNo) {
        QApplication::closeAllWindows();
    }
}

bool WidgetUIWrapper::_quitConfirm(QObject* obj, QKeyEvent*)
{
    const QString name = obj ? obj->objectName() : QString();
    if (name.contains("WidgetMessageBox") || name.contains("YesConfirm"))
        return false;
    _closeAppConfirm();
    return true;
}

void WidgetUIWrapper::_checkQemClient()
{
    if (QemDllImport::clientState(GraphicsContext::instance()->projectInfo()->qemid) == 0)
        _closeAppConfirm();
}

} // namespace VeldaClient
