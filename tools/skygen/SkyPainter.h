#pragma once

#include <QImage>
#include <QVector3D>

namespace VeldaSky {

// The sky's colour in a world direction (+z up): a hazy horizon, a deep
// zenith, soft clouds, and below the horizon a muted ground haze. Every
// sky picture is computed from it, so they all agree.
QColor skyColor(const QVector3D& direction);

// One face of the sky cube, for the face's GL target index (0 +x, 1 -x,
// 2 +y, 3 -y, 4 +z, 5 -z), oriented as the viewer uploads it.
QImage cubeFace(int face, int size);

// The dome's texture: azimuth along the width, elevation along the height.
QImage domeTexture(int width, int height);

// The shading ramp (only the red channel is read), the same on every row.
QImage colorRamp(int width, int height);

// Tileable ripples.
QImage waterTexture(int size);

// The sun dial: a 134 by 134 ring with an inner track of radius 25 and an
// outer one of radius 50, and the knobs that run on them.
QImage dialRing();
QImage innerKnob(bool hover);  // 18 by 18
QImage outerKnob(bool hover);  // 20 by 20

} // namespace VeldaSky
