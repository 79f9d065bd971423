#include "UserInterface/Forms/FormMain.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/WidgetGLView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "log/Log.h"

#include <QApplication>
#include <QDesktopWidget>
#include <QIcon>
#include <QScreen>
#include <QThreadPool>

namespace VeldaClient {

FormMain::FormMain(QWidget* parent) : QMainWindow(parent), drag(this)
{
    initializeControls();
}

FormMain::~FormMain()
{
    // Flights write the camera from the pool: they end before the hub goes.
    QThreadPool::globalInstance()->waitForDone();
    // The renderer and the widgets free GL names: the surface's context is current.
    centralView_->glView()->makeCurrent();
    GraphicsContext::destroyInstance();
}

void FormMain::initializeControls()
{
    VLOG << "Start Form Main Init!";
    centralView_ = new WidgetMainCentralView(this);
    connect(centralView_, SIGNAL(maxApplication()), this, SLOT(maxSizeApplication()));
    connect(centralView_, SIGNAL(fullScreenApplication()), this, SLOT(fullScreenApplication()));
    connect(centralView_, SIGNAL(minApplication()), this, SLOT(showMinimized()));
    connect(centralView_, SIGNAL(normalApplication()), this, SLOT(normalSizeApplication()));
    // The answers come back as the signals' return values.
    connect(centralView_, SIGNAL(isFullScreen()), this, SLOT(isFullScreen()));
    connect(centralView_, SIGNAL(isMaxSize()), this, SLOT(isMaxSize()));
    connect(centralView_, SIGNAL(isNormalSize()), this, SLOT(isNormalSize()));
    setCentralWidget(centralView_);
    resize(normalWidth, normalHeight);
    setWindowFlags(Qt::FramelessWindowHint);
    setWindowIcon(QIcon(":/Images/Icon3D.png"));
    setWindowIconText("岚舟三维浏览器");
    setWindowTitle("岚舟三维浏览器");
    const QRect desktop = QApplication::desktop()->geometry();
    move((desktop.width() - width()) / 2, (desktop.height() - height()) / 2);
    // The frameless window's drop shadow is the window manager's affair here.
    VLOG << "Form Main Init Finished!";
}

void FormMain::maxSizeApplication()
{
    normalX = pos().x();
    normalY = pos().y();
    setGeometry(QGuiApplication::primaryScreen()->availableGeometry());
    updateGeometry();
    fullScreen = false;
    maxSize = true;
}

void FormMain::fullScreenApplication()
{
    showFullScreen();
    updateGeometry();
    // Max size stays as it was: from maximum, a further F stays in full screen.
    fullScreen = true;
}

void FormMain::normalSizeApplication()
{
    setGeometry(normalX, normalY, normalWidth, normalHeight);
    updateGeometry();
    fullScreen = false;
    maxSize = false;
}

bool FormMain::isFullScreen()
{
    return fullScreen;
}

bool FormMain::isMaxSize()
{
    return maxSize;
}

bool FormMain::isNormalSize()
{
    return !fullScreen && !maxSize;
}

void FormMain::mousePressEvent(QMouseEvent* event)
{
    if (drag.press(event))
        QMainWindow::mousePressEvent(event);
}

void FormMain::mouseMoveEvent(QMouseEvent* event)
{
    drag.move(event);
    QMainWindow::mouseMoveEvent(event);
}

void FormMain::mouseReleaseEvent(QMouseEvent* event)
{
    drag.release();
    QMainWindow::mouseReleaseEvent(event);
}

} // namespace VeldaClient
