#pragma once

#include <QPointF>
#include <Qt>

namespace VeldaClient {

// A tool that may take a mouse drag over the 3D view before the camera
// does: the scene offers it each press that no overlay widget took.
// Positions are view pixels from the top left.
class ViewMouseTool {
public:
    virtual ~ViewMouseTool() = default;

    // True takes the drag: moves and the release go to the tool, and the
    // camera stays where it is.
    virtual bool press(const QPointF& at, Qt::MouseButton button) = 0;
    virtual void drag(const QPointF& at) = 0;
    virtual void release(const QPointF& at) = 0;
    // The pointer moves over the view with no button down.
    virtual void hover(const QPointF&) {}
};

} // namespace VeldaClient
