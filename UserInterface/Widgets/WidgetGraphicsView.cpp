#include "UserInterface/Widgets/WidgetGraphicsView.h"

#include "Common/GraphicsContext.h"
#include "scene/Camera.h"

#include <QResizeEvent>

namespace VeldaClient {

WidgetGraphicsView::WidgetGraphicsView(QGraphicsScene* scene, QWidget* parent) : QGraphicsView(scene, parent)
{
    connect(this, SIGNAL(resizeView(int, int)), scene, SLOT(resizeScene(int, int)));
}

void WidgetGraphicsView::resizeEvent(QResizeEvent* event)
{
    const int w = event->size().width();
    const int h = event->size().height();
    if (scene()) {
        scene()->setSceneRect(QRectF(0, 0, w, h));
        emit resizeView(w, h);
    }
    if (Velda::Camera* camera = GraphicsContext::instance()->camera())
        camera->setViewport(0.0f, 0.0f, static_cast<float>(w), static_cast<float>(h));
    QGraphicsView::resizeEvent(event);
}

} // namespace VeldaClient
