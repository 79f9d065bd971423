#pragma once

#include <GL/glew.h>

class QGraphicsScene;
class QOpenGLWidget;

namespace VeldaClient {

// The GL context of the scene's view made current between frames (for a
// saved view's picture, for a pick), and the state that Qt's painter
// expects put back when it goes. GUI thread.
class ViewContext {
public:
    explicit ViewContext(QGraphicsScene& scene);
    ~ViewContext();
    ViewContext(const ViewContext&) = delete;
    ViewContext& operator=(const ViewContext&) = delete;

    // False when the scene has no GL view (nothing is current then).
    bool ready() const { return surface_ != nullptr; }
    // The frame buffer bound when the context was made current.
    GLuint frameBuffer() const { return static_cast<GLuint>(frameBuffer_); }

private:
    QOpenGLWidget* surface_ = nullptr;
    GLint activeTexture_ = 0;
    GLint frameBuffer_ = 0;
};

// What Qt's own painter expects when it draws the overlay after native GL.
void restorePainterState();

} // namespace VeldaClient
