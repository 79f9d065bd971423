// velda-skygen: writes SkyResources/ (the sky scene and the images of the
// viewer) into the given folder, replacing what was there.
#include "SkyPainter.h"

#include "PackError.h"
#include "ProjectWriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QImage>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace {

const double kPi = 3.14159265358979;
const float kRadius = 12.0f;

// A full sphere seen from inside; the viewer draws it unlit.
VeldaPack::PackMesh sphere(int segments, int rings)
{
    VeldaPack::PackMesh m;
    m.name = "sky dome";
    for (int r = 0; r <= rings; ++r) {
        const double elevation = -kPi / 2 + kPi * r / rings;
        for (int s = 0; s <= segments; ++s) {
            const double azimuth = 2 * kPi * s / segments;
            const float x = static_cast<float>(std::cos(elevation) * std::cos(azimuth));
            const float y = static_cast<float>(std::cos(elevation) * std::sin(azimuth));
            const float z = static_cast<float>(std::sin(elevation));
            m.positions.insert(m.positions.end(), {kRadius * x, kRadius * y, kRadius * z});
            m.normals.insert(m.normals.end(), {-x, -y, -z});
            m.uvs.insert(m.uvs.end(), {static_cast<float>(s) / segments, static_cast<float>(r) / rings});
        }
    }
    for (int r = 0; r < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            const uint32_t a = static_cast<uint32_t>(r * (segments + 1) + s), b = a + 1,
                           c = a + static_cast<uint32_t>(segments + 1), d = c + 1;
            m.indices.insert(m.indices.end(), {a, c, b, b, c, d});
        }
    return m;
}

VeldaPack::PackTexture textureOf(const QImage& image, const char* name)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    VeldaPack::PackTexture t;
    t.name = name;
    t.width = argb.width();
    t.height = argb.height();
    t.bgra.resize(static_cast<size_t>(t.width) * t.height * 4);
    for (int y = 0; y < t.height; ++y)  // ARGB32 is B, G, R, A in memory on this platform
        std::memcpy(&t.bgra[static_cast<size_t>(y) * t.width * 4], argb.constScanLine(y), static_cast<size_t>(t.width) * 4);
    return t;
}

bool save(const QImage& image, const QString& path, const char* format)
{
    return image.save(path, format, format[0] == 'J' ? 92 : -1);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::cerr << "usage: velda-skygen OUTPUT_FOLDER   (usually <program folder>/SkyResources)\n";
        return 2;
    }
    const std::string out = argv[1];
    std::error_code ec;
    std::filesystem::remove_all(out, ec);

    VeldaPack::PackScene scene;
    scene.textures.push_back(textureOf(VeldaSky::domeTexture(1024, 512), "sky dome"));
    VeldaPack::PackMaterial material;
    material.name = "sky";
    material.diffuse[0] = material.diffuse[1] = material.diffuse[2] = 1.0f;
    material.texture = 0;
    scene.materials.push_back(material);
    VeldaPack::PackObject dome;
    dome.name = "sky";
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::copy(identity, identity + 16, dome.matrix);
    for (int k = 0; k < 3; ++k) {
        dome.min[k] = -kRadius;
        dome.max[k] = kRadius;
    }
    scene.objects.push_back(dome);
    scene.meshCount = 1;
    scene.mesh = [](uint32_t) { return sphere(64, 32); };

    // The viewer scales the sky to a box diagonal of 10: a box of exactly
    // that diagonal keeps the dome at its radius of 12, beyond a scaled
    // scene and inside the far plane of 15.
    VeldaPack::PackOptions options;
    options.sceneBox = true;
    const float half = static_cast<float>(10.0 / (2.0 * std::sqrt(3.0)));
    for (int k = 0; k < 3; ++k) {
        options.sceneMin[k] = -half;
        options.sceneMax[k] = half;
    }
    try {
        VeldaPack::ProjectWriter::write(scene, out, options);
    } catch (const std::exception& e) {
        std::cerr << "velda-skygen: " << e.what() << "\n";
        return 1;
    }

    const QString img = QString::fromStdString(out) + "/img/";
    QDir().mkpath(img);
    struct Picture {
        const char* name;
        QImage image;
        const char* format;
    };
    const Picture pictures[] = {
        {"光圈.png", VeldaSky::dialRing(), "PNG"},
        {"光圈圆点-内环(划过).png", VeldaSky::innerKnob(true), "PNG"},
        {"光圈圆点-内环.png", VeldaSky::innerKnob(false), "PNG"},
        {"光圈圆点-外环(划过).png", VeldaSky::outerKnob(true), "PNG"},
        {"光圈圆点-外环.png", VeldaSky::outerKnob(false), "PNG"},
        {"color.jpg", VeldaSky::colorRamp(256, 4), "JPG"},
        {"water.jpg", VeldaSky::waterTexture(256), "JPG"},
        {"rt.jpg", VeldaSky::cubeFace(0, 512), "JPG"},
        {"lf.jpg", VeldaSky::cubeFace(1, 512), "JPG"},
        {"bk.jpg", VeldaSky::cubeFace(2, 512), "JPG"},
        {"ft.jpg", VeldaSky::cubeFace(3, 512), "JPG"},
        {"up.jpg", VeldaSky::cubeFace(4, 512), "JPG"},
        {"dn.jpg", VeldaSky::cubeFace(5, 512), "JPG"},
    };
    for (const Picture& p : pictures) {
        if (!save(p.image, img + QString::fromUtf8(p.name), p.format)) {
            std::cerr << "velda-skygen: cannot write " << (img + QString::fromUtf8(p.name)).toStdString() << "\n";
            std::filesystem::remove_all(out, ec);
            return 1;
        }
    }
    return 0;
}
