#include "ThemeArtwork.h"

#include "Glyphs.h"
#include "SkyPainter.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace VeldaTheme {

namespace {

// The palette. The blue is the dialogs' title colour; the glass is the
// sun dial's, so that everything over the 3D view looks of one piece.
const QColor kAccent(0x13, 0xA5, 0xDB);
const QColor kAccentDark(0x0E, 0x8C, 0xC0);
const QColor kAccentLight(0x1C, 0xB8, 0xEE);
const QColor kGlass(20, 28, 40, 165);
const QColor kGlassEdge(255, 255, 255, 40);
const QColor kWhite(255, 255, 255);
const QColor kRed(0xD3, 0x46, 0x28);

QImage transparent(int w, int h)
{
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage finished(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

void roundedBox(QPainter& p, const QRectF& r, double radius, const QBrush& fill, const QColor& edge = QColor(),
                double edgeWidth = 1.0)
{
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(edge.isValid() ? QPen(edge, edgeWidth) : QPen(Qt::NoPen));
    p.setBrush(fill);
    p.drawRoundedRect(r, radius, radius);
}

QLinearGradient vertical(double top, double bottom, const QColor& from, const QColor& to)
{
    QLinearGradient g(0, top, 0, bottom);
    g.setColorAt(0, from);
    g.setColorAt(1, to);
    return g;
}

// A menu button, 46 by 46: white icon on dark glass. The hover form is
// drawn smaller on a blue tile: the sheet shows it 10 pixels larger on each
// side, so the tile fills the button and the icon grows under the pointer.
QImage menuButton(Glyph glyph, bool hover)
{
    QImage image = transparent(46, 46);
    QPainter p(&image);
    if (hover) {
        roundedBox(p, QRectF(0, 0, 46, 46), 5, vertical(0, 46, kAccentLight, kAccent));
        drawGlyph(p, glyph, QRectF(12, 12, 22, 22), kWhite, 1.0);
    } else {
        roundedBox(p, QRectF(1.5, 1.5, 43, 43), 5, kGlass, kGlassEdge);
        drawGlyph(p, glyph, QRectF(11, 11, 24, 24), kWhite, 1.0);
    }
    return finished(image);
}

// Title bar buttons, 30 by 30: the icon alone; the sheet lights the ground.
QImage titleButton(Glyph glyph)
{
    QImage image = transparent(30, 30);
    QPainter p(&image);
    drawGlyph(p, glyph, QRectF(3, 3, 24, 24), kWhite, 0.85);
    return finished(image);
}

QImage appMark(int size)
{
    QImage image = transparent(size, size);
    QPainter p(&image);
    const double inset = size / 32.0;
    roundedBox(p, QRectF(inset, inset, size - 2 * inset, size - 2 * inset), size * 0.22,
               vertical(0, size, kAccentLight, kAccentDark));
    const double m = size * 0.16;
    drawGlyph(p, Glyph::Cube, QRectF(m, m, size - 2 * m, size - 2 * m), kWhite, size < 32 ? 1.5 : 1.25);
    return finished(image);
}

QImage badge(int size, const QColor& fill, Glyph glyph, double weight)
{
    QImage image = transparent(size, size);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    p.drawEllipse(QRectF(0.5, 0.5, size - 1.0, size - 1.0));
    const double m = size * 0.14;
    drawGlyph(p, glyph, QRectF(m, m, size - 2 * m, size - 2 * m), kWhite, weight);
    return finished(image);
}

QImage titleBar(const QColor& top, const QColor& bottom)
{
    QImage image = transparent(8, 28);
    QPainter p(&image);
    p.fillRect(QRect(0, 0, 8, 28), vertical(0, 28, top, bottom));
    p.fillRect(QRect(0, 0, 8, 1), QColor(255, 255, 255, 22));
    p.fillRect(QRect(0, 27, 8, 1), QColor(10, 14, 20));
    return finished(image);
}

// Dialog buttons, 70 by 24, at their own size.
QImage dialogButton(const QColor& fill, const QColor& edge)
{
    QImage image = transparent(70, 24);
    QPainter p(&image);
    roundedBox(p, QRectF(0.5, 0.5, 69, 23), 3, fill, edge);
    return finished(image);
}

QImage deleteMark(bool hot)
{
    QImage image = transparent(16, 16);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(hot ? kRed : QColor(0x8A, 0x96, 0xA0));
    p.drawEllipse(QRectF(0.5, 0.5, 15, 15));
    drawGlyph(p, Glyph::Close, QRectF(2, 2, 12, 12), kWhite, 1.6);
    return finished(image);
}

// The setting panel's ground, at the panel's own size (280 by 210), with a
// notch pointing up at the setting button, the fifth of the menu.
QImage settingPanel()
{
    QImage image = transparent(280, 210);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(0.5, 8.5, 279, 201), 5, 5);
    const double notch = 4 * 47 + 23;
    QPainterPath arrow;
    arrow.moveTo(notch - 8, 9);
    arrow.lineTo(notch, 1);
    arrow.lineTo(notch + 8, 9);
    arrow.closeSubpath();
    shape = shape.united(arrow);
    p.setPen(QPen(kGlassEdge, 1));
    p.setBrush(QColor(20, 28, 40, 210));
    p.drawPath(shape);
    return finished(image);
}

QImage filled(int w, int h, double radius, const QBrush& fill, const QColor& edge = QColor())
{
    QImage image = transparent(w, h);
    QPainter p(&image);
    roundedBox(p, QRectF(0.5, 0.5, w - 1.0, h - 1.0), radius, fill, edge);
    return finished(image);
}

QImage thumbnailFrame(bool checked)
{
    QImage image = transparent(122, 82);
    QPainter p(&image);
    if (checked)
        roundedBox(p, QRectF(1, 1, 120, 80), 3, Qt::NoBrush, kAccentLight, 2.0);
    else
        roundedBox(p, QRectF(0.5, 0.5, 121, 81), 3, Qt::NoBrush, QColor(255, 255, 255, 110));
    return finished(image);
}

QImage digit(int n)
{
    QImage image = transparent(14, 14);
    QPainter p(&image);
    p.setRenderHint(QPainter::TextAntialiasing);
    QFont font("DejaVu Sans");
    font.setBold(true);
    font.setPixelSize(n == 10 ? 9 : 10);
    if (n == 10)
        font.setLetterSpacing(QFont::AbsoluteSpacing, -0.6);
    p.setFont(font);
    p.setPen(kWhite);
    p.drawText(QRectF(0, 0, 14, 14), Qt::AlignCenter, QString::number(n));
    return finished(image);
}

QImage numberBackground()
{
    QImage image = transparent(16, 16);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(255, 255, 255, 150), 1));
    p.setBrush(kAccent);
    p.drawEllipse(QRectF(0.5, 0.5, 15, 15));
    return finished(image);
}

QImage splitter()
{
    QImage image = transparent(2, 18);
    QPainter p(&image);
    p.fillRect(QRect(0, 0, 1, 18), QColor(0, 0, 0, 90));
    p.fillRect(QRect(1, 0, 1, 18), QColor(255, 255, 255, 45));
    return finished(image);
}

// The progress area of the title strip: a faint edge at either end, so
// that it still looks meant when only the finished mark is left.
QImage progressArea()
{
    QImage image = transparent(272, 26);
    QPainter p(&image);
    for (int x : {0, 270}) {
        p.fillRect(QRect(x, 5, 1, 16), QColor(0, 0, 0, 70));
        p.fillRect(QRect(x + 1, 5, 1, 16), QColor(255, 255, 255, 30));
    }
    return finished(image);
}

QImage focusMarker()
{
    QImage image = transparent(14, 14);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(255, 255, 255, 230), 3.2));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(7, 7), 4.6, 4.6);
    p.setPen(QPen(kAccent, 1.8));
    p.drawEllipse(QPointF(7, 7), 4.6, 4.6);
    p.setPen(Qt::NoPen);
    p.setBrush(kWhite);
    p.drawEllipse(QPointF(7, 7), 1.4, 1.4);
    return finished(image);
}

} // namespace

std::vector<ThemeImage> themeImages()
{
    std::vector<ThemeImage> all;
    auto add = [&all](const char* name, const QImage& image) { all.push_back({QString::fromUtf8(name), image}); };

    add("Icon3D.png", appMark(64));
    add("logo.png", badge(18, kAccent, Glyph::Check, 1.6));
    add("FormTitle.png", appMark(20));
    add("TitleBar.png", titleBar(QColor(44, 52, 62), QColor(32, 38, 46)));
    add("TitleBar2.png", titleBar(QColor(50, 58, 69), QColor(36, 42, 51)));

    add("最小化.png", titleButton(Glyph::Minimise));
    add("最大化.png", titleButton(Glyph::Maximise));
    add("恢复.png", titleButton(Glyph::Restore));
    add("关闭.png", titleButton(Glyph::Close));
    add("意见.png", titleButton(Glyph::Feedback));

    const struct {
        const char* plain;
        const char* hover;
        Glyph glyph;
    } menu[] = {
        {"保存.png", "保存-划过.png", Glyph::Save},
        {"相机A.png", "相机A-划过.png", Glyph::Orthographic},
        {"相机B.png", "相机B-划过.png", Glyph::Perspective},
        {"四季.png", "四季-划过.png", Glyph::Season},
        {"设置.png", "设置-划过.png", Glyph::Settings},
        {"收起.png", "收起-划过.png", Glyph::Shrink},
        {"展开.png", "展开-划过.png", Glyph::Expand},
        {"拍照.png", "拍照-划过.png", Glyph::Camera},
        {"光白-光.png", "光白-光(划过).png", Glyph::Textured},
        {"光白-白.png", "光白-白(划过).png", Glyph::WhiteModel},
    };
    for (const auto& m : menu) {
        add(m.plain, menuButton(m.glyph, false));
        add(m.hover, menuButton(m.glyph, true));
    }

    add("Ask.png", badge(36, kAccent, Glyph::Question, 1.3));
    add("提示框.png", filled(24, 24, 6, QColor(20, 28, 40, 200), kGlassEdge));
    add("按钮.png", dialogButton(kWhite, QColor(0xBF, 0xCD, 0xD4)));
    add("按钮-划过.png", dialogButton(QColor(0xEA, 0xF6, 0xFD), kAccent));
    add("按钮-按下.png", dialogButton(QColor(0xCF, 0xEA, 0xF8), kAccentDark));
    add("按钮-选中划过.png", dialogButton(kAccent, kAccentDark));
    add("delete.png", deleteMark(false));
    add("delete2.png", deleteMark(true));

    add("设置背景.png", settingPanel());
    add("设置下拉菜单.png", filled(24, 24, 3, QColor(30, 38, 50), QColor(64, 76, 90)));
    add("设置下拉菜单选项背景.png", filled(24, 24, 2, kAccent));
    add("光圈圆点-内环.png", VeldaSky::innerKnob(false));
    add("光圈圆点-内环(划过).png", VeldaSky::innerKnob(true));
    add("slider-bg.png", filled(16, 4, 2, QColor(255, 255, 255, 70)));

    add("缩略图描边.png", thumbnailFrame(false));
    add("缩略图描边-划过.png", thumbnailFrame(true));
    add("缩略图透明蒙版.png", filled(122, 82, 3, QColor(20, 28, 40, 70)));
    add("数字背景.png", numberBackground());
    for (int n = 1; n <= 10; ++n)
        all.push_back({QString::number(n) + ".png", digit(n)});

    add("进度条背景.png", progressArea());
    add("进度条内部背景.png", filled(24, 12, 6, QColor(0, 0, 0, 110), QColor(255, 255, 255, 36)));
    add("进度条滑块.png", filled(24, 12, 6, QBrush(vertical(0, 12, kAccentLight, kAccentDark))));
    add("进度条分割线.png", splitter());

    add("focus-center.png", focusMarker());
    return all;
}

} // namespace VeldaTheme
