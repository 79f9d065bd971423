#pragma once

#include <QColor>
#include <QRectF>

class QPainter;

namespace VeldaTheme {

// The line icons of the theme, designed on a 24 by 24 grid with strokes of
// 1.8 units, round caps and joins, so that every button speaks one language.
enum class Glyph {
    Save,         // a disk
    Orthographic, // a parallel grid: "switch to the orthographic camera"
    Perspective,  // a converging grid
    WhiteModel,   // a solid cube
    Textured,     // a sun: the lit, textured view
    Season,       // a leaf
    Settings,     // a gear
    Shrink,       // double chevron to the left
    Expand,       // double chevron to the right
    Camera,       // take a view
    Minimise,
    Maximise,
    Restore,
    Close,
    Feedback,     // a speech bubble
    Question,
    Check,
    Cube,         // the product's mark
};

// Draws `glyph` scaled from its 24-unit grid into `box` in `colour`.
// `weight` scales the stroke (1 = the grid's 1.8 units).
void drawGlyph(QPainter& painter, Glyph glyph, const QRectF& box, const QColor& colour, double weight = 1.0);

} // namespace VeldaTheme
