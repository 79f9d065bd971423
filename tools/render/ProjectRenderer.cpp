// Stand-in until the renderer lands: checks the project and clears to the
// sky colour.
#include "ProjectRenderer.h"

#include "OffscreenTarget.h"

#include <GL/glew.h>

#include <stdexcept>
#include <sys/stat.h>

namespace VeldaRender {

std::vector<unsigned char> renderProject(const RenderOptions& options, RenderReport&)
{
    struct stat info {};
    const bool address = options.project.find("://") != std::string::npos;
    if (!address && (stat(options.project.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)))
        throw std::runtime_error("no project folder " + options.project);
    if (!address && stat((options.project + "/index").c_str(), &info) != 0)
        throw std::runtime_error(options.project + " has no index");
    OffscreenTarget target(options.width, options.height);
    target.bind();
    glClearColor(138 / 255.0f, 173 / 255.0f, 208 / 255.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    return target.readRgba();
}

} // namespace VeldaRender
