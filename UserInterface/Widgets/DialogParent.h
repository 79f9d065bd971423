#pragma once

#include <QGraphicsProxyWidget>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QWidget>

namespace VeldaClient {

// The parent for a dialog opened by an overlay widget. The overlay lives in
// the graphics scene; a dialog parented there would be embedded in the
// scene as a framed sub-window. It belongs to the real window instead.
inline QWidget* dialogParent(QWidget* widget)
{
    QGraphicsProxyWidget* proxy = widget ? widget->window()->graphicsProxyWidget() : nullptr;
    if (proxy && proxy->scene() && !proxy->scene()->views().isEmpty())
        return proxy->scene()->views().first()->window();
    return widget;
}

} // namespace VeldaClient
