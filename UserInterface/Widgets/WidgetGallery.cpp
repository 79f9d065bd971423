#include "UserInterface/Widgets/WidgetGallery.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/BcfTransfer.h"
#include "UserInterface/Widgets/DialogParent.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "UserInterface/Widgets/WidgetScrollArea.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "service/SavedViews.h"
#include "service/SavedViewStore.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QScrollBar>

namespace VeldaClient {

WidgetGallery::WidgetGallery(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

WidgetGallery::~WidgetGallery() = default;

void WidgetGallery::initializeControls()
{
    scrollArea_ = new WidgetScrollArea(this);
    container_ = new QWidget();
    layout_ = new QHBoxLayout();
    group_ = new QButtonGroup(this);
    BcfTransfer* bcf = new BcfTransfer(this, this);
    connect(bcf, SIGNAL(fetchRadValue()), this, SIGNAL(fetchRadValue()));
    connect(bcf, SIGNAL(displayInfo(std::string)), this, SIGNAL(displayInfo(std::string)));

    for (int i = 1; i <= 10; ++i) {
        WidgetThumbnail* thumbnail = new WidgetThumbnail(container_);
        thumbnail->setNumber(i);
        connect(thumbnail, SIGNAL(clicked(bool)), this, SIGNAL(thumbnailClicked(bool)));
        connect(thumbnail, SIGNAL(saveAllThumbnailScript(bool)), this, SLOT(saveViewScripts(bool)));
        connect(thumbnail, SIGNAL(fetchRadValue()), this, SIGNAL(fetchRadValue()));
        connect(thumbnail, SIGNAL(setRadValue(float*)), this, SIGNAL(setRadValue(float*)));
        connect(thumbnail, SIGNAL(isGalleryEmpty()), this, SLOT(isGalleryEmpty()));
        connect(thumbnail, SIGNAL(displayInfo(std::string)), this, SIGNAL(displayInfo(std::string)));
        connect(thumbnail, SIGNAL(mousePress(QPoint)), this, SLOT(mousePress(QPoint)));
        connect(thumbnail, &WidgetThumbnail::exportBcf, bcf, &BcfTransfer::exportViews);
        connect(thumbnail, &WidgetThumbnail::importBcf, bcf, &BcfTransfer::importViews);
        thumbnails_.push_back(thumbnail);
        layout_->addWidget(thumbnail);
        group_->addButton(thumbnail, -1);
        thumbnail->setChanged(false);
    }
    container_->setFixedWidth(130 * static_cast<int>(thumbnails_.size()));

    container_->setLayout(layout_);
    scrollArea_->setWidget(container_);
    scrollArea_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea_->setProperty("GalleryContainer", true);
    container_->setProperty("GalleryContainer", true);
    installEventFilter(this);

    if (ApplicationMain* application = GraphicsContext::instance()->application())
        for (int i = 0; i <= 9; ++i)
            application->registerKeyHandler('0' + i, keyHandler(this, &WidgetGallery::_selectByDigit));
    setAcceptDrops(true);

    // Blocking: the window opens with the views that the service keeps.
    applySavedViews(this, GraphicsContext::instance()->savedViewStore()->readRecord());
}

std::vector<SavedViewSlot*> WidgetGallery::viewSlots() const
{
    return std::vector<SavedViewSlot*>(thumbnails_.begin(), thumbnails_.end());
}

WidgetThumbnail* WidgetGallery::focusedThumbnail() const
{
    for (WidgetThumbnail* thumbnail : thumbnails_)
        if (thumbnail->hasFocus())
            return thumbnail;
    return thumbnails_.front();
}

bool WidgetGallery::anyChanged() const
{
    for (WidgetThumbnail* thumbnail : thumbnails_)
        if (thumbnail->changed())
            return true;
    return false;
}

void WidgetGallery::clearChanged()
{
    for (WidgetThumbnail* thumbnail : thumbnails_)
        thumbnail->setChanged(false);
}

bool WidgetGallery::isGalleryEmpty()
{
    for (WidgetThumbnail* thumbnail : thumbnails_)
        if (thumbnail->hasImage())
            return false;
    return true;
}

void WidgetGallery::saveViewScripts(bool)
{
    saveScriptAs(this, [this]() { return exportViewsScript(this); });
}

bool WidgetGallery::_selectByDigit(QObject*, QKeyEvent* e)
{
    const int number = e->key() == '0' ? 10 : e->key() - '0';
    WidgetThumbnail* thumbnail = thumbnails_[static_cast<size_t>(number - 1)];
    thumbnail->setFocus();
    thumbnail->click();
    return true;
}

void WidgetGallery::mousePress(QPoint pos)
{
    lastX_ = pos.x();
    lastY_ = pos.y();
}

// The strip takes the presses, moves and releases it uses, so that dragging
// it never turns the view behind it.
void WidgetGallery::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        mousePress(event->globalPos());
        event->accept();
    }
}

void WidgetGallery::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton) {
        QScrollBar* bar = scrollArea_->horizontalScrollBar();
        bar->setValue(bar->value() - (event->globalPos().x() - lastX_));
        mousePress(event->globalPos());
        event->accept();
    }
}

void WidgetGallery::mouseReleaseEvent(QMouseEvent* event)
{
    mousePress(event->globalPos());
    event->accept();
}

void WidgetGallery::resizeEvent(QResizeEvent* event)
{
    placeScrollArea();
    QFrame::resizeEvent(event);
}

void WidgetGallery::placeScrollArea()
{
    scrollArea_->move(-3, -3);
    scrollArea_->setFixedSize(width() + 10, height() + 10);
}

} // namespace VeldaClient
