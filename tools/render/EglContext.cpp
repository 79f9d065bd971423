#include "EglContext.h"

#include <GL/glew.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace VeldaRender {

namespace {

bool hasExtension(const char* list, const char* name)
{
    if (!list)
        return false;
    const size_t length = std::strlen(name);
    for (const char* p = std::strstr(list, name); p; p = std::strstr(p + length, name))
        if ((p == list || p[-1] == ' ') && (p[length] == ' ' || p[length] == '\0'))
            return true;
    return false;
}

std::runtime_error eglFailure(const char* call)
{
    char code[16];
    std::snprintf(code, sizeof code, "0x%04X", static_cast<unsigned>(eglGetError()));
    return std::runtime_error(std::string(call) + " failed (EGL error " + code + ")");
}

EGLDisplay surfacelessDisplay()
{
    const char* clientExtensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (!hasExtension(clientExtensions, "EGL_MESA_platform_surfaceless"))
        throw std::runtime_error("EGL offers no Mesa surfaceless platform (install libegl1 and libegl-mesa0)");
    const auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!getPlatformDisplay)
        throw std::runtime_error("EGL has no eglGetPlatformDisplayEXT");
    EGLDisplay display = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (display == EGL_NO_DISPLAY)
        throw eglFailure("eglGetPlatformDisplayEXT");
    return display;
}

EGLContext compatibilityContext(EGLDisplay display)
{
    // Surfaceless configurations are pbuffer ones; the default, window,
    // matches none of them.
    const EGLint configAttributes[] = {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
                                       EGL_RED_SIZE, 8, EGL_GREEN_SIZE, 8, EGL_BLUE_SIZE, 8, EGL_ALPHA_SIZE, 8,
                                       EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (!eglChooseConfig(display, configAttributes, &config, 1, &count) || count < 1)
        throw std::runtime_error("EGL has no RGBA8 configuration for desktop OpenGL");
    const EGLint wanted[] = {EGL_CONTEXT_MAJOR_VERSION, 4, EGL_CONTEXT_MINOR_VERSION, 5,
                             EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                             EGL_NONE};
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, wanted);
    // Without a version the driver gives its highest compatibility one.
    if (context == EGL_NO_CONTEXT)
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    if (context == EGL_NO_CONTEXT)
        throw eglFailure("eglCreateContext");
    return context;
}

void setUpGlew()
{
    glewExperimental = GL_TRUE;
    const GLenum status = glewInit();
    // GLEW also looks for a GLX display, which an EGL context has not: the
    // GL entry points are loaded all the same.
    if (status != GLEW_OK && !(status == GLEW_ERROR_NO_GLX_DISPLAY && glGenFramebuffers && glBlitFramebuffer))
        throw std::runtime_error(std::string("glewInit failed: ") +
                                 reinterpret_cast<const char*>(glewGetErrorString(status)));
    glGetError();  // glewInit may leave GL_INVALID_ENUM behind
}

} // namespace

EglContext::EglContext()
{
    EGLDisplay display = surfacelessDisplay();
    EGLint major = 0, minor = 0;
    if (!eglInitialize(display, &major, &minor))
        throw eglFailure("eglInitialize");
    display_ = display;
    try {
        if (!hasExtension(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context"))
            throw std::runtime_error("EGL lacks EGL_KHR_surfaceless_context");
        if (!eglBindAPI(EGL_OPENGL_API))
            throw eglFailure("eglBindAPI(EGL_OPENGL_API)");
        context_ = compatibilityContext(display);
        if (!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, static_cast<EGLContext>(context_)))
            throw eglFailure("eglMakeCurrent");
        setUpGlew();
    } catch (...) {
        release();
        throw;
    }
}

EglContext::~EglContext() { release(); }

void EglContext::release()
{
    if (!display_)
        return;
    eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (context_)
        eglDestroyContext(display_, context_);
    eglTerminate(display_);
    eglReleaseThread();
    display_ = context_ = nullptr;
}

std::string EglContext::version() const { return reinterpret_cast<const char*>(glGetString(GL_VERSION)); }

std::string EglContext::renderer() const { return reinterpret_cast<const char*>(glGetString(GL_RENDERER)); }

} // namespace VeldaRender
