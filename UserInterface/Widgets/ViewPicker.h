#pragma once

#include "render/PickPass.h"

#include <QPointF>

#include <memory>

class QGraphicsScene;

namespace VeldaClient {

// Picks in the live view: the renderer's id pass for the scene as the
// hub's camera sees it, with the view's context made current for it.
// GUI thread, between frames.
class ViewPicker {
public:
    explicit ViewPicker(QGraphicsScene& scene) : scene_(scene) {}

    // The object and the surface point under a view pixel.
    Velda::PickHit pick(const QPointF& at);
    // As pick, the point moved to the nearest seen vertex within `radius` pixels.
    Velda::PickHit snap(const QPointF& at, int radius);

private:
    QGraphicsScene& scene_;
    std::unique_ptr<Velda::PickPass> pass_;
};

} // namespace VeldaClient
