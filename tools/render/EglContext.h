#pragma once

#include <string>

namespace VeldaRender {

// A current OpenGL compatibility context on Mesa's surfaceless EGL platform,
// with no window, no surface and no X server, and GLEW set up for it. 4.5
// is asked for; a driver that refuses it gives its highest compatibility
// version. Throws std::runtime_error with a one-line reason when EGL or the
// platform is missing. One per thread; released when the object goes.
class EglContext {
public:
    EglContext();
    ~EglContext();
    EglContext(const EglContext&) = delete;
    EglContext& operator=(const EglContext&) = delete;

    // The GL_VERSION and GL_RENDERER strings of the driver.
    std::string version() const;
    std::string renderer() const;

private:
    void release();

    void* display_ = nullptr;  // EGLDisplay
    void* context_ = nullptr;  // EGLContext
};

} // namespace VeldaRender
