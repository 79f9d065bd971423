#include "GLHarness.h"

#include <GL/glx.h>
#include <X11/Xlib.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace VeldaTest {

struct GLContext::Native {
    Display* display = nullptr;
    GLXContext context = nullptr;
    GLXPbuffer surface = 0;

    ~Native()
    {
        if (!display)
            return;
        glXMakeContextCurrent(display, None, None, nullptr);
        if (surface)
            glXDestroyPbuffer(display, surface);
        if (context)
            glXDestroyContext(display, context);
        XCloseDisplay(display);
    }
};

GLContext::GLContext(int width, int height) : native_(new Native)
{
    // A busy X server can refuse a connection for a moment (tests open and
    // close displays in parallel), so the open is tried for a while.
    for (int attempt = 0; attempt < 100 && !native_->display; ++attempt) {
        native_->display = XOpenDisplay(nullptr);
        if (!native_->display && std::getenv("DISPLAY"))
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        else if (!native_->display)
            break;
    }
    if (!native_->display)
        throw std::runtime_error("no X display: run the GL tests under xvfb-run");
    const int configAttributes[] = {GLX_DRAWABLE_TYPE, GLX_PBUFFER_BIT, GLX_RENDER_TYPE, GLX_RGBA_BIT,
                                    GLX_RED_SIZE, 8, GLX_GREEN_SIZE, 8, GLX_BLUE_SIZE, 8, GLX_ALPHA_SIZE, 8,
                                    GLX_DEPTH_SIZE, 24, None};
    int count = 0;
    GLXFBConfig* configs =
        glXChooseFBConfig(native_->display, DefaultScreen(native_->display), configAttributes, &count);
    if (!configs || count == 0)
        throw std::runtime_error("no GLX frame buffer configuration with a pbuffer");
    const GLXFBConfig config = configs[0];
    XFree(configs);

    // A legacy context is the compatibility profile at the driver's highest version.
    native_->context = glXCreateNewContext(native_->display, config, GLX_RGBA_TYPE, nullptr, True);
    if (!native_->context)
        throw std::runtime_error("glXCreateNewContext failed");
    const int surfaceAttributes[] = {GLX_PBUFFER_WIDTH, width, GLX_PBUFFER_HEIGHT, height, None};
    native_->surface = glXCreatePbuffer(native_->display, config, surfaceAttributes);
    if (!native_->surface)
        throw std::runtime_error("glXCreatePbuffer failed");
    if (!glXMakeContextCurrent(native_->display, native_->surface, native_->surface, native_->context))
        throw std::runtime_error("glXMakeContextCurrent failed");

    glewExperimental = GL_TRUE;
    const GLenum status = glewInit();
    if (status != GLEW_OK && !(status == GLEW_ERROR_NO_GLX_DISPLAY && glGenFramebuffers))
        throw std::runtime_error(std::string("glewInit failed: ") +
                                 reinterpret_cast<const char*>(glewGetErrorString(status)));
    glGetError();  // glewInit may leave GL_INVALID_ENUM behind
}

GLContext::~GLContext() = default;

std::string GLContext::version() const { return reinterpret_cast<const char*>(glGetString(GL_VERSION)); }

std::string GLContext::renderer() const { return reinterpret_cast<const char*>(glGetString(GL_RENDERER)); }

void GLTest::SetUp()
{
    try {
        context_.reset(new GLContext());
    } catch (const std::exception& e) {
        FAIL() << "no GL context: " << e.what();
    }
}

void GLTest::TearDown() { context_.reset(); }

} // namespace VeldaTest
