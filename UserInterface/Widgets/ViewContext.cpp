#include "UserInterface/Widgets/ViewContext.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QOpenGLWidget>

namespace VeldaClient {

ViewContext::ViewContext(QGraphicsScene& scene)
{
    if (!scene.views().isEmpty())
        surface_ = qobject_cast<QOpenGLWidget*>(scene.views().first()->viewport());
    if (!surface_)
        return;
    surface_->makeCurrent();
    glGetIntegerv(GL_ACTIVE_TEXTURE, &activeTexture_);
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &frameBuffer_);
}

ViewContext::~ViewContext()
{
    if (!surface_)
        return;
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(frameBuffer_));
    glActiveTexture(static_cast<GLenum>(activeTexture_));
    restorePainterState();
    surface_->doneCurrent();
}

void restorePainterState()
{
    for (GLuint i = 0; i < 16; ++i)
        glDisableVertexAttribArray(i);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
}

} // namespace VeldaClient
