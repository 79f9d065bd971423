#include "UserInterface/Widgets/WidgetUIWrapper.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "UserInterface/Widgets/WidgetEnvironmentControl.h"
#include "UserInterface/Widgets/WidgetInformation.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "service/QemDllImport.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QResizeEvent>
#include <QTimer>
#include <QVBoxLayout>

namespace VeldaClient {

WidgetUIWrapper::WidgetUIWrapper(QWidget* parent) : QFrame(parent)
{
    qRegisterMetaType<std::string>("std::string");
    initializeControls();
}

WidgetUIWrapper::~WidgetUIWrapper() = default;

void WidgetUIWrapper::initializeControls()
{
    sunDial_ = new WidgetEnvironmentControl(this);
    sunDial_->setFixedSize(134, 134);
    miniMap_ = new WidgetMiniMap(this);

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

    connect(this, SIGNAL(displayInfo(std::string)), information_, SLOT(display(std::string)));

    if (ApplicationMain* application = GraphicsContext::instance()->application())
        application->registerKeyHandler(Qt::Key_Escape, keyHandler(this, &WidgetUIWrapper::_quitConfirm));

    clientTimer_ = new QTimer(this);
    clientTimer_->setInterval(1000);
    connect(clientTimer_, SIGNAL(timeout()), this, SLOT(_checkQemClient()));
    clientTimer_->start();
}

void WidgetUIWrapper::resizeEvent(QResizeEvent* event)
{
    const int w = event->size().width();
    const int h = event->size().height();
    sunDial_->move(w - 154, h - 150);
    sunDial_->setPosition(static_cast<float>(w), static_cast<float>(h));
    miniMap_->move(w - miniMap_->width() - 4, 4);
    QFrame::resizeEvent(event);
}

void WidgetUIWrapper::_updateModelPieceInfo(unsigned long long qty)
{
    totalPiece_->setText(QString("总面数：%1").arg(qty));
}

void WidgetUIWrapper::_closeAppConfirm()
{
    // Nothing here is unsaved yet: the saved views, and the question whether
    // to upload their changes first, come with the gallery.
    QApplication::closeAllWindows();
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
