#include "UserInterface/Widgets/WidgetMainCentralView.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/KeyHandler.h"
#include "UserInterface/Widgets/WidgetGLView.h"
#include "UserInterface/Widgets/WidgetGraphicsScene.h"
#include "UserInterface/Widgets/WidgetGraphicsView.h"
#include "UserInterface/Widgets/WidgetProgressBar.h"
#include "log/Log.h"
#include "scene/Camera.h"
#include "service/ClientMessage.h"
#include "service/QemDllImport.h"
#include "service/SavedViewStore.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

namespace VeldaClient {

WidgetMainCentralView::WidgetMainCentralView(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetMainCentralView::initializeControls()
{
    VLOG << "Start WidgetMainCentralView Init!";
    QVBoxLayout* layout = new QVBoxLayout(this);
    glView_ = new WidgetGLView();
    scene_ = new WidgetGraphicsScene(this);
    view_ = new WidgetGraphicsView(scene_, this);
    view_->setMinimumSize(600, 480);
    view_->setViewport(glView_);
    view_->setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    view_->setScene(scene_);
    view_->setObjectName("GV");

    ProjectInfo* info = GraphicsContext::instance()->projectInfo();
    title_ = new QLabel(QString::fromUtf8((info->projectname + " - " + info->groupname + "(" + info->groupid +
                                           ") - ").c_str()) +
                        "岚洲三维浏览器");
    title_->setProperty("FormTitle", true);

    progressBar_ = new WidgetProgressBar();
    progressBar_->setFixedSize(272, 26);
    progressBar_->setObjectName("ProgressBar");
    connect(scene_, SIGNAL(setProcessValue(int)), progressBar_, SLOT(setValue(int)), Qt::QueuedConnection);

    auto button = [](const char* name) {
        QPushButton* b = new QPushButton();
        b->setFixedSize(30, 30);
        b->setObjectName(name);
        return b;
    };
    feedback_ = button("Feedback");
    connect(feedback_, SIGNAL(clicked()), this, SLOT(_feedback()));
    formMin_ = button("FormMin");
    connect(formMin_, SIGNAL(clicked()), this, SIGNAL(minApplication()));
    formMax_ = button("FormMax");
    connect(formMax_, SIGNAL(clicked()), this, SIGNAL(maxApplication()));
    connect(formMax_, SIGNAL(clicked()), this, SLOT(toggleFormSize()));
    formNormal_ = button("FormNormal");
    formNormal_->hide();
    connect(formNormal_, SIGNAL(clicked()), this, SIGNAL(normalApplication()));
    connect(formNormal_, SIGNAL(clicked()), this, SLOT(toggleFormSize()));
    close_ = new QPushButton();
    close_->setFixedSize(30, 30);
    close_->setProperty("DialogClose", true);
    connect(close_, SIGNAL(clicked()), scene_, SIGNAL(closeAppConfirm()));

    QHBoxLayout* strip = new QHBoxLayout();
    strip->addWidget(title_);
    strip->addStretch();
    strip->addWidget(progressBar_);
    strip->addWidget(feedback_);
    strip->addWidget(formMin_);
    strip->addWidget(formMax_);
    strip->addWidget(formNormal_);
    strip->addWidget(close_);
    strip->setMargin(0);
    strip->setSpacing(0);
    formTop_ = new QFrame();
    formTop_->setLayout(strip);
    formTop_->setFixedHeight(28);
    formTop_->setProperty("FormTop", true);
    formTop_->installEventFilter(this);

    layout->addWidget(formTop_);
    layout->addWidget(view_);
    layout->setMargin(0);
    layout->setSpacing(0);
    setLayout(layout);
    setAcceptDrops(true);

    // The feedback goes to the companion client; a model opened from a
    // file has none.
    if (GraphicsContext::instance()->savedViewStore()->followsClient())
        clientWindow_ = QemDllImport::msgHandle(info->qemid);
    else
        feedback_->hide();

    ApplicationMain* application = GraphicsContext::instance()->application();
    if (application) {
        const auto move = keyHandler(this, &WidgetMainCentralView::_moveCamera);
        for (int key : {Qt::Key_Up, Qt::Key_Down, Qt::Key_Left, Qt::Key_Right, Qt::Key_W, Qt::Key_S, Qt::Key_A,
                        Qt::Key_D})
            application->registerKeyHandler(key, move);
        bool (WidgetMainCentralView::*cycle)(QObject*, QKeyEvent*) = &WidgetMainCentralView::_switchFormSize;
        application->registerKeyHandler(Qt::Key_F, keyHandler(this, cycle));
    }
    VLOG << "WidgetMainCentralView Init Finished!";
}

void WidgetMainCentralView::toggleFormSize()
{
    formMax_->setVisible(formMax_->isHidden());
    formNormal_->setVisible(formMax_->isHidden());
}

void WidgetMainCentralView::_feedback()
{
    postClientMessage(clientWindow_, 5069, 5, 0);
}

bool WidgetMainCentralView::_moveCamera(QObject*, QKeyEvent* e)
{
    // Ctrl+S saves; no movement key moves the camera while Control is held.
    if (e->modifiers() & Qt::ControlModifier)
        return true;
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const Velda::Vector4 column = camera->getTransform().getColumn(0);
    const Velda::Vector3 right(column.x, column.y, column.z);
    // Where the camera looks, on the ground: up x right (right x up would
    // point behind the camera, and W is forward).
    const Velda::Vector3 forward = hub->worldUp().cross(right);
    Velda::Vector3 axis;
    double direction = 0.0;
    switch (e->key()) {
    case Qt::Key_Up:
    case Qt::Key_W:
        axis = forward;
        direction = 1.0;
        break;
    case Qt::Key_Down:
    case Qt::Key_S:
        axis = forward;
        direction = -1.0;
        break;
    case Qt::Key_Right:
    case Qt::Key_D:
        axis = right;
        direction = 1.0;
        break;
    case Qt::Key_Left:
    case Qt::Key_A:
        axis = right;
        direction = -1.0;
        break;
    default:
        return true;
    }
    // The step grows with the height above the ground and stays in its plane.
    const Velda::Vector3 n = axis.normalized();
    const double z = camera->getPosition().z;
    const double step = static_cast<double>(0.03f);
    const Velda::Vector3 move(static_cast<float>(n.x * z * step * direction),
                              static_cast<float>(n.y * z * step * direction), 0.0f);
    camera->translate(move);
    hub->setOrbitPivot(hub->orbitPivot() + move);
    // The key is consumed before any event filter sees it.
    hub->requestFrame();
    return true;
}

bool WidgetMainCentralView::_switchFormSize(QObject* obj, QKeyEvent*)
{
    return _switchFormSize(obj);
}

bool WidgetMainCentralView::_switchFormSize(QObject*)
{
    // Full screen keeps the max size flag, so from full screen the first row
    // matches again and the cycle ends there.
    if (emit isMaxSize()) {
        formTop_->hide();
        emit fullScreenApplication();
    } else if (emit isNormalSize()) {
        formTop_->show();
        emit maxApplication();
        toggleFormSize();
    } else if (emit isFullScreen()) {
        formTop_->show();
        emit normalApplication();
        toggleFormSize();
    }
    return true;
}

bool WidgetMainCentralView::eventFilter(QObject* obj, QEvent* e)
{
    if (obj == formTop_ && e->type() == QEvent::MouseButtonDblClick &&
        static_cast<QMouseEvent*>(e)->button() == Qt::LeftButton) {
        if (emit isMaxSize()) {
            emit normalApplication();
            toggleFormSize();
        } else if (emit isNormalSize()) {
            emit maxApplication();
            toggleFormSize();
        }
        return true;
    }
    return QFrame::eventFilter(obj, e);
}

} // namespace VeldaClient
