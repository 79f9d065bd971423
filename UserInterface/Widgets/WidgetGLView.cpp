#include "UserInterface/Widgets/WidgetGLView.h"

#include "Common/GraphicsContext.h"
#include "log/Log.h"

#include <QSurfaceFormat>

namespace VeldaClient {

WidgetGLView::WidgetGLView(QWidget* parent) : QOpenGLWidget(parent)
{
    initializeControls();
}

WidgetGLView::~WidgetGLView() = default;

void WidgetGLView::initializeControls()
{
    VLOG << "Start WidgetGLView Init!";
    QSurfaceFormat format;
    format.setSwapBehavior(QSurfaceFormat::DoubleBuffer);
    format.setDepthBufferSize(24);
    format.setStencilBufferSize(8);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setSamples(4);
    setFormat(format);
    VLOG << "WidgetGLView Init Finished!";
}

void WidgetGLView::initializeGL()
{
    VLOG << "WidgetGLView initialize GL!";
    GraphicsContext::instance()->initialize();
    VLOG << "WidgetGLView initialize GL Finished!";
}

} // namespace VeldaClient
