#include "SynthCity.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace VeldaPack {

namespace {

const float kFloor = 3.2f;   // metres a storey
const float kBlock = 40.0f;  // a building's plot, streets included

struct Building {
    float x, y, angle;
    float width, depth;
    int floors;
    int facade;  // material of its walls
};

// A tile, drawn in BGRA rows top first.
PackTexture drawn(const std::string& name, int size, bool alpha,
                  const std::function<void(int, int, unsigned char*)>& pixel)
{
    PackTexture t;
    t.name = name;
    t.width = t.height = size;
    t.bgra.resize(static_cast<size_t>(size) * size * 4);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            unsigned char* p = &t.bgra[(static_cast<size_t>(y) * size + x) * 4];
            pixel(x, y, p);
            if (!alpha)
                p[3] = 255;
        }
    return t;
}

unsigned char clampByte(double v)
{
    return static_cast<unsigned char>(std::max(0.0, std::min(255.0, v)));
}

// A storey of wall with one window in the middle; symmetric, since the
// viewer repeats textures mirrored.
PackTexture facadeTexture(const std::string& name, double r, double g, double b, double grain)
{
    return drawn(name, 256, false, [=](int x, int y, unsigned char* p) {
        const double noise = std::sin(x * 12.9898 + y * 78.233) * 43758.5453;
        const double n = (noise - std::floor(noise) - 0.5) * grain;
        const bool window = x > 56 && x < 200 && y > 70 && y < 210;
        const bool frame = window && (x < 64 || x > 192 || y < 78 || y > 202 || std::abs(x - 128) < 3);
        double k = window ? (frame ? 0.35 : 0.55 + 0.25 * (y - 70) / 140.0) : 1.0 + n;
        if (!window && (y % 32 == 0))
            k *= 0.85;  // courses
        const double wr = window && !frame ? 0.45 : r, wg = window && !frame ? 0.6 : g, wb = window && !frame ? 0.75 : b;
        p[0] = clampByte(wb * 255 * k);
        p[1] = clampByte(wg * 255 * k);
        p[2] = clampByte(wr * 255 * k);
    });
}

void quad(PackMesh& m, const float a[3], const float b[3], const float c[3], const float d[3], const float n[3],
          float u0, float v0, float u1, float v1)
{
    const uint32_t base = m.vertexCount();
    const float* corners[4] = {a, b, c, d};
    const float uv[4][2] = {{u0, v0}, {u1, v0}, {u1, v1}, {u0, v1}};
    for (int i = 0; i < 4; ++i) {
        m.positions.insert(m.positions.end(), {corners[i][0], corners[i][1], corners[i][2]});
        m.normals.insert(m.normals.end(), {n[0], n[1], n[2]});
        m.uvs.insert(m.uvs.end(), {uv[i][0], uv[i][1]});
    }
    m.indices.insert(m.indices.end(), {base, base + 1, base + 2, base, base + 2, base + 3});
}

// Walls storey by storey, and a roof; or the glass bands just outside them.
PackMesh buildingMesh(const Building& b, bool glass, uint32_t detail)
{
    PackMesh m;
    m.name = glass ? "glass" : "facade";
    const float hw = b.width / 2, hd = b.depth / 2, out = glass ? 0.05f : 0.0f;
    const float corners[4][2] = {{-hw - out, -hd - out}, {hw + out, -hd - out}, {hw + out, hd + out}, {-hw - out, hd + out}};
    for (int side = 0; side < 4; ++side) {
        const float* p0 = corners[side];
        const float* p1 = corners[(side + 1) % 4];
        const float length = std::hypot(p1[0] - p0[0], p1[1] - p0[1]);
        const float n[3] = {(p1[1] - p0[1]) / length, -(p1[0] - p0[0]) / length, 0};
        for (int f = 0; f < b.floors; ++f) {
            float z0 = f * kFloor, z1 = z0 + kFloor;
            if (glass) {
                z0 += 1.0f;  // a band at window height
                z1 -= 0.6f;
            }
            for (uint32_t piece = 0; piece < detail; ++piece) {
                const float t0 = static_cast<float>(piece) / detail, t1 = static_cast<float>(piece + 1) / detail;
                const float x0 = p0[0] + (p1[0] - p0[0]) * t0, y0 = p0[1] + (p1[1] - p0[1]) * t0;
                const float x1 = p0[0] + (p1[0] - p0[0]) * t1, y1 = p0[1] + (p1[1] - p0[1]) * t1;
                const float a[3] = {x0, y0, z0}, bb[3] = {x1, y1, z0}, c[3] = {x1, y1, z1}, d[3] = {x0, y0, z1};
                quad(m, a, bb, c, d, n, length * t0 / 4.0f, 0, length * t1 / 4.0f, 1);
            }
        }
    }
    if (!glass) {
        const float top = b.floors * kFloor, up[3] = {0, 0, 1};
        const float a[3] = {-hw, -hd, top}, bb[3] = {hw, -hd, top}, c[3] = {hw, hd, top}, d[3] = {-hw, hd, top};
        quad(m, a, bb, c, d, up, 0, 0, 0.05f, 0.05f);
    }
    return m;
}

PackMesh flatMesh(const char* name, float x0, float y0, float x1, float y1, float z, float tile)
{
    PackMesh m;
    m.name = name;
    // A grid, so that large grounds still light smoothly.
    const int cells = 16;
    const float up[3] = {0, 0, 1};
    for (int j = 0; j < cells; ++j)
        for (int i = 0; i < cells; ++i) {
            const float ax = x0 + (x1 - x0) * i / cells, bx = x0 + (x1 - x0) * (i + 1) / cells;
            const float ay = y0 + (y1 - y0) * j / cells, by = y0 + (y1 - y0) * (j + 1) / cells;
            const float a[3] = {ax, ay, z}, b[3] = {bx, ay, z}, c[3] = {bx, by, z}, d[3] = {ax, by, z};
            quad(m, a, b, c, d, up, ax / tile, ay / tile, bx / tile, by / tile);
        }
    return m;
}

void place(PackObject& o, float x, float y, float angle)
{
    const float c = std::cos(angle), s = std::sin(angle);
    const float m[16] = {c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, x, y, 0, 1};
    std::copy(m, m + 16, o.matrix);
}

} // namespace

PackScene synthCity(const SynthOptions& options)
{
    PackScene scene;
    std::mt19937 random(options.seed);
    auto uniform = [&random](float a, float b) { return std::uniform_real_distribution<float>(a, b)(random); };

    scene.textures = {
        facadeTexture("facade brick A", 0.62, 0.32, 0.24, 0.25),
        facadeTexture("外墙 混凝土", 0.72, 0.71, 0.68, 0.12),
        facadeTexture("facade sandstone 2", 0.80, 0.70, 0.52, 0.18),
        drawn("玻璃 窗", 64, true, [](int x, int y, unsigned char* p) {
            const double sheen = 0.5 + 0.5 * std::sin((x + y) * 0.15);
            p[0] = clampByte(200 + 40 * sheen);
            p[1] = clampByte(150 + 40 * sheen);
            p[2] = clampByte(90 + 30 * sheen);
            p[3] = clampByte(110 + 40 * sheen);
        }),
        drawn("水面 river", 256, false, [](int x, int y, unsigned char* p) {
            const double t = 2 * 3.14159265 / 256;
            const double w = std::sin(x * t * 3 + std::sin(y * t * 2) * 2) + std::cos(y * t * 4 + std::sin(x * t) * 1.5);
            p[0] = clampByte(150 + 30 * w);
            p[1] = clampByte(110 + 20 * w);
            p[2] = clampByte(40 + 10 * w);
        }),
        drawn("ground 草地 park", 256, false, [](int x, int y, unsigned char* p) {
            const double noise = std::sin(x * 3.7 + y * 1.3) * std::cos(x * 0.9 - y * 2.1);
            p[0] = clampByte(60 + 20 * noise);
            p[1] = clampByte(125 + 25 * noise);
            p[2] = clampByte(80 + 20 * noise);
        }),
    };
    const char* facadeNames[3] = {"brick facade", "外墙 concrete", "sandstone facade"};
    for (int i = 0; i < 3; ++i) {
        PackMaterial m;
        m.name = facadeNames[i];
        m.texture = i;
        scene.materials.push_back(m);
    }
    PackMaterial glass;
    glass.name = "玻璃 glass";
    glass.texture = 3;
    glass.alpha = 0.45f;
    glass.blend = true;
    glass.diffuse[0] = 0.35f, glass.diffuse[1] = 0.55f, glass.diffuse[2] = 0.75f;
    scene.materials.push_back(glass);
    PackMaterial water;
    water.name = "河 水面";
    water.texture = 4;
    water.blend = true;  // the viewer draws water at alpha 0.8
    scene.materials.push_back(water);
    PackMaterial ground;
    ground.name = "ground 草地";
    ground.texture = 5;
    scene.materials.push_back(ground);
    const uint32_t glassMaterial = 3, waterMaterial = 4, groundMaterial = 5;

    // Buildings on a square grid, taller towards the middle; the river runs
    // along x beside the grid.
    const uint32_t n = options.buildings;
    const uint32_t side = static_cast<uint32_t>(std::ceil(std::sqrt(static_cast<double>(std::max(n, 1u)))));
    auto buildings = std::make_shared<std::vector<Building>>();
    buildings->reserve(n);
    const float extent = side * kBlock;
    for (uint32_t i = 0; i < n; ++i) {
        Building b;
        const float gx = static_cast<float>(i % side), gy = static_cast<float>(i / side);
        b.x = (gx + 0.5f) * kBlock;
        b.y = (gy + 0.5f) * kBlock;
        const float centre = 1.0f - std::hypot(b.x - extent / 2, b.y - extent / 2) / (extent * 0.75f);
        b.width = uniform(10, 30);
        b.depth = uniform(10, 30);
        b.floors = std::max(2, static_cast<int>(uniform(2, 8) + 30 * std::max(0.0f, centre) * uniform(0.3f, 1.0f)));
        b.angle = uniform(-0.05f, 0.05f);
        b.facade = static_cast<int>(random() % 3);
        buildings->push_back(b);
    }

    for (uint32_t i = 0; i < n; ++i) {
        const Building& b = (*buildings)[i];
        const float r = std::hypot(b.width, b.depth) / 2 + 0.1f, top = b.floors * kFloor;
        for (int part = 0; part < 2; ++part) {
            PackObject o;
            o.name = (part ? "glass " : "building ") + std::to_string(i + 1);
            place(o, b.x, b.y, b.angle);
            o.mesh = 2 * i + part;
            o.material = part ? glassMaterial : static_cast<uint32_t>(b.facade);
            const float lo[3] = {b.x - r, b.y - r, 0}, hi[3] = {b.x + r, b.y + r, top};
            std::copy(lo, lo + 3, o.min);
            std::copy(hi, hi + 3, o.max);
            scene.objects.push_back(o);
        }
    }
    const float margin = kBlock, riverWidth = 3 * kBlock;
    const uint32_t groundMesh = 2 * n, waterMesh = 2 * n + 1;
    PackObject groundObject;
    groundObject.name = "ground";
    place(groundObject, 0, 0, 0);
    groundObject.mesh = groundMesh;
    groundObject.material = groundMaterial;
    const float gl[3] = {-margin, -margin, -0.05f}, gh[3] = {extent + margin, extent + margin, 0};
    std::copy(gl, gl + 3, groundObject.min);
    std::copy(gh, gh + 3, groundObject.max);
    PackObject waterObject = groundObject;
    waterObject.name = "river";
    waterObject.mesh = waterMesh;
    waterObject.material = waterMaterial;
    const float wl[3] = {-margin, -margin - riverWidth, -0.3f}, wh[3] = {extent + margin, -margin, -0.3f};
    std::copy(wl, wl + 3, waterObject.min);
    std::copy(wh, wh + 3, waterObject.max);
    scene.objects.push_back(groundObject);
    scene.objects.push_back(waterObject);
    scene.meshCount = 2 * n + 2;

    const uint32_t detail = std::max(1u, options.detail);
    scene.mesh = [buildings, n, extent, margin, riverWidth, detail](uint32_t i) {
        if (i == 2 * n)
            return flatMesh("ground", -margin, -margin, extent + margin, extent + margin, -0.05f, 25.0f);
        if (i == 2 * n + 1)
            return flatMesh("river", -margin, -margin - riverWidth, extent + margin, -margin, -0.3f, 40.0f);
        return buildingMesh((*buildings)[i / 2], i % 2 == 1, detail);
    };
    return scene;
}

} // namespace VeldaPack
