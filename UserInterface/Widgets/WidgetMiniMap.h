#pragma once

#include <GL/glew.h>

#include "scene/Camera.h"
#include "scene/MiniMapFraming.h"

#include <QFrame>

class QLabel;

namespace VeldaClient {

// The top-down map in the upper right corner, with a marker on the orbit
// pivot. While the scene loads its framing also puts the live camera at its
// start; a double click flies the camera to the clicked ground point,
// on the GUI thread.
class WidgetMiniMap : public QFrame {
    Q_OBJECT

public:
    explicit WidgetMiniMap(QWidget* parent = nullptr);
    ~WidgetMiniMap() override;

    // The map's picture, twice the widget's size; made on first use. GL thread.
    GLuint texture();
    // Frames the scene again if its box changed (moving the live camera and
    // the pivot) and returns the map camera. Called by the frame while loading.
    Velda::Camera frameCamera();

    QLabel* marker() const { return focusLabel; }
    const Velda::MiniMapFraming& framing() const { return framing_; }
    // The ground point under a widget position, through the map camera.
    Velda::Vector3 groundPoint(const QPointF& position);

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    // Presses on the map stay on the map: they never reach the scene.
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    virtual void initializeControls();

private:
    void placeMarker(const Velda::Vector3& pivot);

    QLabel* focusLabel = nullptr;
    const int mapWidth = 120;
    const int mapHeight = 80;
    GLuint texture_ = static_cast<GLuint>(-1);
    Velda::MiniMapFraming framing_;
};

} // namespace VeldaClient
