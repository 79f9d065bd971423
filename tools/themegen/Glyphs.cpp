#include "Glyphs.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>

#include <cmath>

namespace VeldaTheme {

namespace {

const double kPi = 3.14159265358979;

QPolygonF polygon(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

// A hexagon seen as a cube from above a corner, centre (12, 12).
QPolygonF cubeOutline()
{
    return polygon({{12, 3.5}, {19.5, 7.75}, {19.5, 16.25}, {12, 20.5}, {4.5, 16.25}, {4.5, 7.75}});
}

void cubeEdges(QPainter& p)
{
    p.drawPolygon(cubeOutline());
    p.drawLine(QPointF(12, 12), QPointF(12, 20.5));
    p.drawLine(QPointF(12, 12), QPointF(4.5, 7.75));
    p.drawLine(QPointF(12, 12), QPointF(19.5, 7.75));
}

QPainterPath gear()
{
    QPainterPath path;
    const int teeth = 8;
    const double outer = 9.0, inner = 6.9;
    for (int i = 0; i < teeth * 4; ++i) {
        // Each tooth: rise, top, fall, gap; a quarter period each.
        const double a = (i - 0.5) * 2 * kPi / (teeth * 4);
        const double r = (i % 4 == 1 || i % 4 == 2) ? outer : inner;
        const QPointF point(12 + r * std::cos(a), 12 + r * std::sin(a));
        if (i == 0)
            path.moveTo(point);
        else
            path.lineTo(point);
    }
    path.closeSubpath();
    path.addEllipse(QPointF(12, 12), 3.0, 3.0);
    return path;
}

void chevrons(QPainter& p, bool left)
{
    const double s = left ? 1.0 : -1.0;
    auto x = [s](double v) { return 12 + s * (v - 12); };
    p.drawPolyline(polygon({{x(12.5), 6}, {x(6.5), 12}, {x(12.5), 18}}));
    p.drawPolyline(polygon({{x(18), 6}, {x(12), 12}, {x(18), 18}}));
}

} // namespace

void drawGlyph(QPainter& p, Glyph glyph, const QRectF& box, const QColor& colour, double weight)
{
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(box.topLeft());
    p.scale(box.width() / 24.0, box.height() / 24.0);
    QPen pen(colour, 1.8 * weight, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);

    switch (glyph) {
    case Glyph::Save: {
        QPainterPath body;
        body.moveTo(5, 4);
        body.lineTo(16.5, 4);
        body.lineTo(20, 7.5);
        body.lineTo(20, 19);
        body.quadTo(20, 20, 19, 20);
        body.lineTo(5, 20);
        body.quadTo(4, 20, 4, 19);
        body.lineTo(4, 5);
        body.quadTo(4, 4, 5, 4);
        p.drawPath(body);
        p.drawRect(QRectF(8, 4, 7, 4.5));
        p.drawRect(QRectF(7.5, 13, 9, 7));
        break;
    }
    case Glyph::Orthographic: {
        // Parallel lines stay parallel.
        p.drawPolygon(polygon({{3, 18}, {17, 18}, {21, 6}, {7, 6}}));
        p.drawLine(QPointF(5, 12), QPointF(19, 12));
        p.drawLine(QPointF(7.67, 18), QPointF(11.67, 6));
        p.drawLine(QPointF(12.33, 18), QPointF(16.33, 6));
        break;
    }
    case Glyph::Perspective: {
        // Lines run together towards the horizon.
        p.drawPolygon(polygon({{2.5, 19}, {21.5, 19}, {16, 6}, {8, 6}}));
        p.drawLine(QPointF(5.2, 12.6), QPointF(18.8, 12.6));
        p.drawLine(QPointF(8.8, 19), QPointF(10.7, 6));
        p.drawLine(QPointF(15.2, 19), QPointF(13.3, 6));
        break;
    }
    case Glyph::WhiteModel: {
        // Three faces in three brightnesses: a model without textures.
        p.setPen(Qt::NoPen);
        QColor top = colour, left = colour, right = colour;
        left.setAlphaF(colour.alphaF() * 0.78);
        right.setAlphaF(colour.alphaF() * 0.55);
        p.setBrush(top);
        p.drawPolygon(polygon({{12, 3.5}, {19.5, 7.75}, {12, 12}, {4.5, 7.75}}));
        p.setBrush(left);
        p.drawPolygon(polygon({{4.5, 7.75}, {12, 12}, {12, 20.5}, {4.5, 16.25}}));
        p.setBrush(right);
        p.drawPolygon(polygon({{19.5, 7.75}, {12, 12}, {12, 20.5}, {19.5, 16.25}}));
        break;
    }
    case Glyph::Textured: {
        p.drawEllipse(QPointF(12, 12), 4.2, 4.2);
        for (int i = 0; i < 8; ++i) {
            const double a = i * kPi / 4;
            p.drawLine(QPointF(12 + 7.2 * std::cos(a), 12 + 7.2 * std::sin(a)),
                       QPointF(12 + 9.6 * std::cos(a), 12 + 9.6 * std::sin(a)));
        }
        break;
    }
    case Glyph::Season: {
        QPainterPath leaf;
        leaf.moveTo(5, 19);
        leaf.cubicTo(4, 10, 10, 4.5, 19.5, 4.5);
        leaf.cubicTo(19.5, 14, 14, 20, 5, 19);
        p.drawPath(leaf);
        p.drawLine(QPointF(5, 19), QPointF(13.5, 10.5));
        break;
    }
    case Glyph::Settings:
        p.drawPath(gear());
        break;
    case Glyph::Shrink:
        chevrons(p, true);
        break;
    case Glyph::Expand:
        chevrons(p, false);
        break;
    case Glyph::Camera: {
        QPainterPath body;
        body.addRoundedRect(QRectF(2.5, 7, 19, 13), 2.2, 2.2);
        p.drawPath(body);
        p.drawPolyline(polygon({{8, 7}, {9.6, 4.5}, {14.4, 4.5}, {16, 7}}));
        p.drawEllipse(QPointF(12, 13.3), 3.8, 3.8);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(QPointF(18.2, 10), 1.0, 1.0);
        break;
    }
    case Glyph::Minimise:
        p.drawLine(QPointF(7, 12.5), QPointF(17, 12.5));
        break;
    case Glyph::Maximise:
        p.drawRect(QRectF(7, 7, 10, 10));
        break;
    case Glyph::Restore:
        p.drawPolyline(polygon({{9.5, 7}, {17.5, 7}, {17.5, 15}}));
        p.drawRect(QRectF(6.5, 10, 8, 8));
        break;
    case Glyph::Close:
        p.drawLine(QPointF(7.5, 7.5), QPointF(16.5, 16.5));
        p.drawLine(QPointF(16.5, 7.5), QPointF(7.5, 16.5));
        break;
    case Glyph::Feedback: {
        QPainterPath bubble;
        bubble.addRoundedRect(QRectF(4, 5, 16, 11.5), 2.5, 2.5);
        p.drawPath(bubble);
        p.drawPolyline(polygon({{8.5, 16.5}, {8, 20}, {12.5, 16.5}}));
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        for (double x : {8.5, 12.0, 15.5})
            p.drawEllipse(QPointF(x, 10.8), 1.05, 1.05);
        break;
    }
    case Glyph::Question: {
        QPainterPath hook;
        hook.moveTo(9, 9.2);
        hook.cubicTo(9, 5.5, 15, 5.5, 15, 9.2);
        hook.cubicTo(15, 11.5, 12, 11.8, 12, 14.2);
        p.drawPath(hook);
        p.setPen(Qt::NoPen);
        p.setBrush(colour);
        p.drawEllipse(QPointF(12, 17.8), 1.25, 1.25);
        break;
    }
    case Glyph::Check:
        p.drawPolyline(polygon({{6, 12.5}, {10.2, 16.5}, {18, 8}}));
        break;
    case Glyph::Cube:
        cubeEdges(p);
        break;
    }
    p.restore();
}

} // namespace VeldaTheme
