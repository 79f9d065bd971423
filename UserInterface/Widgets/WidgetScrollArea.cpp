#include "UserInterface/Widgets/WidgetScrollArea.h"

#include <QCoreApplication>
#include <QScrollBar>
#include <QWheelEvent>

namespace VeldaClient {

WidgetScrollArea::WidgetScrollArea(QWidget* parent) : QScrollArea(parent) {}

void WidgetScrollArea::wheelEvent(QWheelEvent* event)
{
    const QPoint angle = event->angleDelta();
    const int delta = angle.y() != 0 ? angle.y() : angle.x();
    const QPoint pixels = event->pixelDelta();
    const int pixelDelta = pixels.y() != 0 ? pixels.y() : pixels.x();
    QWheelEvent sideways(event->position(), event->globalPosition(), QPoint(pixelDelta, 0), QPoint(delta, 0),
                         event->buttons(), event->modifiers(), event->phase(), event->inverted(), event->source());
    sideways.setAccepted(false);
    QCoreApplication::sendEvent(horizontalScrollBar(), &sideways);
    // Taken here: a wheel over the strip doesn't also zoom the view.
    event->accept();
}

} // namespace VeldaClient
