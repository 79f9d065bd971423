#include "render/ScreenRectangle.h"

#include "render/ShaderProgram.h"
#include "scene/Matrix4.h"

#include <GL/glew.h>

namespace Velda {

void drawScreenRectangle(ShaderProgram& program, float x, float y, float w, float h, float projWidth,
                         float projHeight, float farPlane)
{
    const float vertices[16] = {
        x, y, 0.0f, 1.0f,
        x, y + h, 0.0f, 0.0f,
        x + w, y + h, 1.0f, 0.0f,
        x + w, y, 1.0f, 1.0f,
    };
    static const GLuint indices[6] = {0, 1, 2, 0, 2, 3};
    program.setAttributeArray("a_Vertex", vertices, 0, 2, 4);
    program.setAttributeArray("a_UV", vertices, 2, 2, 4);
    program.setMatrix("u_ProjMat", Matrix4::orthographic(0.0f, projWidth, projHeight, 0.0f, 0.1f, farPlane));
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_INT, indices);
}

void beginRectanglePass(int width, int height)
{
    glEnable(GL_DEPTH_TEST);
    glDepthMask(GL_TRUE);
    glViewport(0, 0, width, height);
    glClearColor(1.0f, 1.0f, 1.0f, 1.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
}

void endRectanglePass()
{
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
}

void drawClipQuad(ShaderProgram& program)
{
    static const float quad[20] = {
        -1.0f, 1.0f, 0.0f, 0.0f, 1.0f,
        -1.0f, -1.0f, 0.0f, 0.0f, 0.0f,
        1.0f, 1.0f, 0.0f, 1.0f, 1.0f,
        1.0f, -1.0f, 0.0f, 1.0f, 0.0f,
    };
    program.setAttributeArray("a_Position", quad, 0, 3, 5);
    program.setAttributeArray("a_UV", quad, 3, 2, 5);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

void disableVertexArrays()
{
    for (GLuint i = 0; i < 16; ++i)
        glDisableVertexAttribArray(i);
}

} // namespace Velda
