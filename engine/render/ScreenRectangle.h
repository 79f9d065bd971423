#pragma once

namespace Velda {

class ShaderProgram;

// The textured rectangle of the full-screen passes and the overlay: from
// client memory, y downward in pixels, the top edge at V = 1. Binds
// `a_Vertex`, `a_UV` and `u_ProjMat` (orthographic, 0 to projWidth, near
// 0.1) and draws six 32-bit indices with no element buffer bound.
void drawScreenRectangle(ShaderProgram& program, float x, float y, float w, float h, float projWidth,
                         float projHeight, float farPlane = 100.0f);

// Before a pass's rectangle: depth test and mask on, viewport, clear to
// white, blend off. After it: depth test and mask off.
void beginRectanglePass(int width, int height);
void endRectanglePass();

// The clip-space quad of the occlusion passes: a triangle strip with
// `a_Position` and `a_UV`.
void drawClipQuad(ShaderProgram& program);

// glDisableVertexAttribArray for arrays 0 to 15.
void disableVertexArrays();

} // namespace Velda
