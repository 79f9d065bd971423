#include "UserInterface/Widgets/WidgetThumbnail.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/DialogParent.h"
#include "UserInterface/Widgets/ViewTransition.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"
#include "formats/TextHelpers.h"
#include "service/SavedViews.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QCursor>
#include <QFrame>
#include <QMenu>
#include <QMouseEvent>
#include <QMutexLocker>

#include <memory>

namespace VeldaClient {

namespace {
const double kDegrees = 180.0 / 3.1415925;
}

WidgetThumbnail::WidgetThumbnail(QWidget* parent) : QPushButton(parent)
{
    initializeControls();
}

WidgetThumbnail::~WidgetThumbnail()
{
    // A flight still under way reads this button.
    delete flight_;
    // The menu may belong to the window by now.
    delete menu_;
}

void WidgetThumbnail::initializeControls()
{
    setIconSize(QSize(122, 82));
    setProperty("Thumbnail", true);
    numberBackground_ = new QFrame(this);
    numberBackground_->setObjectName("screenShotNumberBg");
    numberBackground_->setFixedSize(22, 22);
    numberBackground_->move(2, 2);
    connect(this, SIGNAL(clicked(bool)), this, SLOT(_switchCameraContext(bool)));

    deleteAction_ = new QAction("删除", this);
    downloadOneAction_ = new QAction("下载本相机", this);
    downloadAllAction_ = new QAction("下载全部相机", this);
    connect(deleteAction_, SIGNAL(triggered(bool)), this, SLOT(deleteThumbnailConfirm(bool)));
    connect(downloadOneAction_, SIGNAL(triggered(bool)), this, SLOT(saveThumbnailScript(bool)));
    connect(downloadAllAction_, SIGNAL(triggered(bool)), this, SIGNAL(saveAllThumbnailScript(bool)));

    cover_ = new QFrame(this);
    cover_->setObjectName("screenShotCover");
    cover_->setFixedSize(128, 84);
    // Hidden while selected: every other place wears it.
    connect(this, &QAbstractButton::toggled, cover_, &QWidget::setHidden);

    menu_ = new QMenu(this);
    menu_->addAction(deleteAction_);
    menu_->addSeparator();
    menu_->addAction(downloadOneAction_);
    menu_->addAction(downloadAllAction_);
    exportBcfAction_ = new QAction("导出 BCF", this);
    importBcfAction_ = new QAction("导入 BCF", this);
    connect(exportBcfAction_, SIGNAL(triggered(bool)), this, SIGNAL(exportBcf(bool)));
    connect(importBcfAction_, SIGNAL(triggered(bool)), this, SIGNAL(importBcf(bool)));
    menu_->addSeparator();
    menu_->addAction(exportBcfAction_);
    menu_->addAction(importBcfAction_);
    setCheckable(true);
    setAutoExclusive(true);
    reset();
}

void WidgetThumbnail::setNumber(int number)
{
    if (number == number_)
        return;
    number_ = number;
    delete numberFrame_;
    numberFrame_ = new QFrame(this);
    numberFrame_->setFixedSize(20, 20);
    numberFrame_->move(2, 3);
    numberFrame_->setProperty(("screenShotNumber" + std::to_string(number)).c_str(), true);
    numberFrame_->show();
}

void WidgetThumbnail::setPicture(const QImage& picture)
{
    {
        QMutexLocker hold(&lock_);
        picture_ = picture;
        hasImage_ = true;
        changed_ = true;
    }
    setIcon(QIcon(QPixmap::fromImage(picture)));
}

void WidgetThumbnail::storeView(const QImage& picture)
{
    GraphicsContext* hub = GraphicsContext::instance();
    setPicture(picture);
    setCamera(*hub->camera());
    setTarget(hub->orbitPivot());
    // Selected with the flag down: the click starts no flight.
    setHasImage(false);
    click();
    setHasImage(true);
}

bool WidgetThumbnail::beginTransition()
{
    bool idle = false;
    return transitionRunning_.compare_exchange_strong(idle, true);
}

void WidgetThumbnail::reset()
{
    setPicture(QImage(":/Images/缩略图透明蒙版.png"));
    setCamera(Velda::Camera());
    QMutexLocker hold(&lock_);
    changed_ = true;
    target_ = Velda::Vector3();
    user_.clear();
    time_.clear();
    qemidText_.clear();
    md5_.clear();
    components_.clear();
    lr_ = 0.0f;
    tr_ = 0.0f;
    hasImage_ = false;
}

std::string WidgetThumbnail::originText() const
{
    const std::wstring who = user();
    const std::string qemid = qemidText();
    const std::string when = time();
    std::string text;
    if (!who.empty())
        text += "由 " + Velda::wideToSystem(who);
    if (!qemid.empty())
        text += "(" + qemid + ")";
    if (!when.empty())
        text += " 于 " + when;
    if (!text.empty())
        text += " 创建";
    return text;
}

void WidgetThumbnail::_switchCameraContext(bool)
{
    setChecked(true);
    cover_->hide();
    if (!hasImage())
        return;

    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* live = hub->camera();
    Velda::Camera view = camera();
    live->setNear(view.getNear());
    live->setFar(view.getFar());
    if (live->getProjectionType() != view.getProjectionType())
        live->setProjectionType(view.getProjectionType());

    ViewTransition flight;
    flight.route = {live->getPosition(), hub->orbitPivot(), view.getPosition(), target()};
    flight.startFov = live->getFov() * kDegrees;
    flight.endFov = view.getFov() * kDegrees;
    if (float* angles = emit fetchRadValue()) {
        flight.startLr = angles[0];
        flight.startTr = angles[1];
        delete[] angles;
    }
    flight.endLr = lr();
    flight.endTr = tr();
    flight.thumbnail = this;
    // A flight stopped by another selection may not have seen it yet.
    if (flight_ && !transitionRunning())
        delete flight_;
    auto transition = std::make_shared<ViewTransition>(flight);
    if (transition->begin()) {
        flight_ = new FlightTimer([transition](int i) { transition->step(i); },
                                  [transition]() { return transition->going(); }, this);
        FlightTimer* timer = flight_;
        connect(timer, &FlightTimer::finished, this, [this, transition, timer]() {
            transition->end();
            if (flight_ == timer)
                flight_ = nullptr;
            timer->deleteLater();
        });
        timer->start();
    }
    hub->setOrbitPivot(flight.route.endTarget);
}

void WidgetThumbnail::deleteThumbnailConfirm(bool)
{
    deleteThumbnailConfirm();
}

void WidgetThumbnail::deleteThumbnailConfirm()
{
    if (!hasImage())
        return;
    WidgetMessageBox box(dialogParent(this));
    if (box.ask("确定删除当前选中项?", originText()) != WidgetMessageBox::kYes)
        return;
    emit displayInfo("数据删除中...");
    reset();
    emit displayInfo("删除完毕!");
}

void WidgetThumbnail::saveThumbnailScript(bool)
{
    saveThumbnailScript();
}

void WidgetThumbnail::saveThumbnailScript()
{
    saveScriptAs(this, [this]() { return viewScriptLine(this); });
}

void WidgetThumbnail::mousePressEvent(QMouseEvent* event)
{
    event->setAccepted(false);
    pressX_ = event->globalPos().x();
    pressY_ = event->globalPos().y();
    emit mousePress(event->globalPos());
    QPushButton::mousePressEvent(event);
}

void WidgetThumbnail::mouseMoveEvent(QMouseEvent* event)
{
    event->setAccepted(false);
    QPushButton::mouseMoveEvent(event);
}

void WidgetThumbnail::mouseReleaseEvent(QMouseEvent* event)
{
    event->setAccepted(false);
    // A drag scrolls the strip; only a release where the press was clicks.
    if (event->globalPos() == QPoint(pressX_, pressY_))
        QPushButton::mouseReleaseEvent(event);
}

void WidgetThumbnail::contextMenuEvent(QContextMenuEvent* event)
{
    const bool filled = hasImage();
    deleteAction_->setEnabled(filled);
    downloadOneAction_->setEnabled(filled);
    const bool empty = emit isGalleryEmpty();
    downloadAllAction_->setEnabled(!empty);
    exportBcfAction_->setEnabled(!empty);
    // A real popup of the window, not one embedded in the graphics scene:
    // it takes the keyboard, and may reach beyond the view.
    QWidget* owner = dialogParent(this);
    if (menu_->parentWidget() != owner)
        menu_->setParent(owner, menu_->windowFlags());
    menu_->exec(QCursor::pos());
    QPushButton::contextMenuEvent(event);
}

} // namespace VeldaClient
