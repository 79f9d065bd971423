#include "SkyPainter.h"

#include <QConicalGradient>
#include <QPainter>
#include <QRadialGradient>

#include <cmath>

namespace VeldaSky {

namespace {

const double kPi = 3.14159265358979;

double fract(double x)
{
    return x - std::floor(x);
}

// Smooth value noise on a lattice; continuous in direction, so faces meet.
double hash(int x, int y, int z)
{
    return fract(std::sin(x * 127.1 + y * 311.7 + z * 74.7) * 43758.5453);
}

double noise(double x, double y, double z)
{
    const int ix = static_cast<int>(std::floor(x)), iy = static_cast<int>(std::floor(y)),
              iz = static_cast<int>(std::floor(z));
    auto fade = [](double t) { return t * t * (3 - 2 * t); };
    const double fx = fade(x - ix), fy = fade(y - iy), fz = fade(z - iz);
    double v = 0;
    for (int c = 0; c < 8; ++c) {
        const int dx = c & 1, dy = (c >> 1) & 1, dz = (c >> 2) & 1;
        const double w = (dx ? fx : 1 - fx) * (dy ? fy : 1 - fy) * (dz ? fz : 1 - fz);
        v += w * hash(ix + dx, iy + dy, iz + dz);
    }
    return v;
}

double clouds(const QVector3D& d)
{
    double sum = 0, amplitude = 0.5, frequency = 3.0;
    for (int octave = 0; octave < 5; ++octave) {
        sum += amplitude * noise(d.x() * frequency + 11.3, d.y() * frequency - 4.1, d.z() * frequency * 2.2);
        amplitude *= 0.5;
        frequency *= 2.1;
    }
    return sum;
}

QColor mix(const QColor& a, const QColor& b, double t)
{
    t = std::max(0.0, std::min(1.0, t));
    return QColor::fromRgbF(a.redF() + (b.redF() - a.redF()) * t, a.greenF() + (b.greenF() - a.greenF()) * t,
                            a.blueF() + (b.blueF() - a.blueF()) * t, a.alphaF() + (b.alphaF() - a.alphaF()) * t);
}

QImage transparent(int w, int h)
{
    QImage image(w, h, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}

} // namespace

QColor skyColor(const QVector3D& direction)
{
    const QVector3D d = direction.normalized();
    const double elevation = std::asin(std::max(-1.0f, std::min(1.0f, d.z())));
    const QColor horizon(218, 230, 240), zenith(62, 118, 196), haze(170, 180, 186), ground(104, 108, 110);
    if (elevation < 0)
        return mix(haze, ground, std::pow(-elevation / (kPi / 2), 0.6));
    QColor sky = mix(horizon, zenith, std::pow(elevation / (kPi / 2), 0.55));
    // Clouds thin out towards the zenith and vanish at the horizon line.
    const double cover = std::max(0.0, clouds(d) - 0.52) * 2.4;
    const double band = std::min(1.0, elevation * 6.0) * (1.0 - 0.5 * elevation / (kPi / 2));
    return mix(sky, QColor(250, 250, 252), std::min(0.85, cover * band));
}

QImage cubeFace(int face, int size)
{
    QImage image(size, size, QImage::Format_RGB32);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            // GL reads the picture's bottom row as t = 0.
            const double s = 2.0 * (x + 0.5) / size - 1.0, t = 2.0 * (1.0 - (y + 0.5) / size) - 1.0;
            QVector3D d;
            switch (face) {
            case 0: d = QVector3D(1, -t, -s); break;
            case 1: d = QVector3D(-1, -t, s); break;
            case 2: d = QVector3D(s, 1, t); break;
            case 3: d = QVector3D(s, -1, -t); break;
            case 4: d = QVector3D(s, -t, 1); break;
            default: d = QVector3D(-s, -t, -1); break;
            }
            image.setPixelColor(x, y, skyColor(d));
        }
    }
    return image;
}

QImage domeTexture(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        // Top of the picture is the zenith (v = 1), bottom the nadir.
        const double elevation = kPi / 2 - kPi * (y + 0.5) / height;
        for (int x = 0; x < width; ++x) {
            const double azimuth = 2 * kPi * (x + 0.5) / width;
            const QVector3D d(std::cos(elevation) * std::cos(azimuth), std::cos(elevation) * std::sin(azimuth),
                              std::sin(elevation));
            image.setPixelColor(x, y, skyColor(d));
        }
    }
    return image;
}

QImage colorRamp(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int x = 0; x < width; ++x) {
        const double d = static_cast<double>(x) / (width - 1);
        // Soft steps: a shadow band, a mid band, full light.
        const double t = 0.08 + 0.92 * (d * d * (3 - 2 * d) * 0.7 + 0.3 * std::pow(d, 0.5));
        const int v = static_cast<int>(std::round(255 * std::min(1.0, t)));
        for (int y = 0; y < height; ++y)
            image.setPixelColor(x, y, QColor(v, v, v));
    }
    return image;
}

QImage waterTexture(int size)
{
    QImage image(size, size, QImage::Format_RGB32);
    const double k = 2 * kPi / size;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            // Whole periods only, so the tile wraps without a seam.
            const double w = 0.35 * std::sin(3 * k * x + 1.7 * std::sin(2 * k * y)) + 0.30 * std::sin(5 * k * y + 0.8) +
                             0.20 * std::sin(7 * k * (x + y)) + 0.15 * std::sin(11 * k * (x - 2 * y));
            image.setPixelColor(x, y, QColor::fromRgbF(0.16 + 0.06 * w, 0.36 + 0.08 * w, 0.48 + 0.10 * w));
        }
    return image;
}

QImage dialRing()
{
    QImage image = transparent(134, 134);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QPointF c(67, 67);
    // A frosted disc behind the tracks.
    QRadialGradient back(c, 64);
    back.setColorAt(0.0, QColor(20, 28, 40, 150));
    back.setColorAt(0.92, QColor(20, 28, 40, 120));
    back.setColorAt(1.0, QColor(20, 28, 40, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(back);
    p.drawEllipse(c, 64, 64);
    // The day cycle round the outer track: night, dawn, noon, dusk.
    QConicalGradient day(c, -90);
    day.setColorAt(0.00, QColor(32, 44, 96));
    day.setColorAt(0.25, QColor(238, 150, 80));
    day.setColorAt(0.50, QColor(255, 220, 120));
    day.setColorAt(0.75, QColor(238, 120, 90));
    day.setColorAt(1.00, QColor(32, 44, 96));
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QBrush(day), 6, Qt::SolidLine, Qt::RoundCap));
    p.drawEllipse(c, 50, 50);
    // The compass track with its ticks.
    p.setPen(QPen(QColor(230, 236, 244, 210), 2));
    p.drawEllipse(c, 25, 25);
    for (int i = 0; i < 12; ++i) {
        const double a = i * kPi / 6;
        const double inner = i % 3 == 0 ? 31 : 34, outer = 40;
        p.setPen(QPen(QColor(230, 236, 244, i % 3 == 0 ? 230 : 140), i % 3 == 0 ? 2 : 1));
        p.drawLine(QPointF(c.x() + inner * std::sin(a), c.y() - inner * std::cos(a)),
                   QPointF(c.x() + outer * std::sin(a), c.y() - outer * std::cos(a)));
    }
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 220));
    p.drawEllipse(c, 3, 3);
    return image;
}

namespace {
QImage knob(int size, const QColor& core, bool hover)
{
    QImage image = transparent(size, size);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const double r = size / 2.0;
    const QPointF c(r, r);
    QRadialGradient glow(c, r);
    glow.setColorAt(0.0, QColor(255, 255, 255, hover ? 200 : 0));
    glow.setColorAt(0.55, QColor(core.red(), core.green(), core.blue(), hover ? 150 : 60));
    glow.setColorAt(1.0, QColor(0, 0, 0, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(glow);
    p.drawEllipse(c, r, r);
    p.setBrush(hover ? core.lighter(130) : core);
    p.setPen(QPen(QColor(255, 255, 255, hover ? 255 : 200), 1.2));
    p.drawEllipse(c, r * 0.55, r * 0.55);
    return image;
}
} // namespace

QImage innerKnob(bool hover)
{
    return knob(18, QColor(120, 190, 255), hover);
}

QImage outerKnob(bool hover)
{
    return knob(20, QColor(255, 196, 64), hover);
}

} // namespace VeldaSky
