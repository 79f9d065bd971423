#include "service/BcfCamera.h"

#include "service/BcfError.h"

#include <cmath>

namespace VeldaClient {

namespace {

const double kPi = 3.14159265358979323846;
// The viewer turns its camera towards a target with the world's up: a line
// of sight closer to straight up or down than this has no heading there.
const double kMinimumTilt = 1e-3;
// Scenes are scaled to a diagonal of 10: half of it.
const float kHalfScene = 5.0f;

struct Vec {
    double x, y, z;
    Vec operator+(const Vec& o) const { return {x + o.x, y + o.y, z + o.z}; }
    Vec operator-(const Vec& o) const { return {x - o.x, y - o.y, z - o.z}; }
    Vec operator*(double s) const { return {x * s, y * s, z * s}; }
    double dot(const Vec& o) const { return x * o.x + y * o.y + z * o.z; }
    Vec cross(const Vec& o) const { return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x}; }
    double length() const { return std::sqrt(dot(*this)); }
    Vec normalized() const { return *this * (1.0 / length()); }
    bool finite() const { return std::isfinite(x) && std::isfinite(y) && std::isfinite(z); }
};

Vec column(const Velda::Matrix4& m, int i)
{
    return {m[4 * i], m[4 * i + 1], m[4 * i + 2]};
}

BcfCamera::Vector toFile(const Vec& v)
{
    return {v.x, v.y, v.z};
}

Vec fromFile(const BcfCamera::Vector& v)
{
    return {v.x, v.y, v.z};
}

} // namespace

double BcfModelFrame::fileUnitsPerSceneUnit() const
{
    const double scale = std::isfinite(sceneScale) && sceneScale > 0.0 ? sceneScale : 1.0;
    const double metres = std::isfinite(metresPerUnit) && metresPerUnit > 0.0 ? metresPerUnit : 1.0;
    return metres / scale;
}

BcfCamera BcfCamera::fromView(Velda::Camera view, const BcfModelFrame& frame)
{
    const double k = frame.fileUnitsPerSceneUnit();
    const Velda::Matrix4& m = view.getTransform();
    BcfCamera camera;
    camera.viewPoint = toFile(column(m, 3) * k);
    // The camera looks down its own -z; its +y is up on the screen.
    camera.direction = toFile((column(m, 2) * -1.0).normalized());
    camera.upVector = toFile(column(m, 1).normalized());
    if (view.getProjectionType() == Velda::Camera::kOrthographic) {
        camera.kind = kOrthogonal;
        const Velda::Vector4& bounds = view.getOrthoBounds();
        camera.viewToWorldScale = (static_cast<double>(bounds.w) - bounds.z) * k;
    } else {
        camera.fieldOfView = view.getFov() * 180.0 / kPi;
    }
    return camera;
}

Velda::Camera BcfCamera::toView(const BcfModelFrame& frame) const
{
    const Vec eye = fromFile(viewPoint) * (1.0 / frame.fileUnitsPerSceneUnit());
    Vec sight = fromFile(direction);
    Vec up = fromFile(upVector);
    if (!eye.finite() || !sight.finite() || !up.finite() || !(sight.length() > 1e-12))
        throw BcfError("视点的相机数据无效");
    sight = sight.normalized();
    const Vec worldUp{0.0, 0.0, 1.0};
    // An up vector along the line of sight says nothing: the world's up
    // does, or north for a view straight up or down.
    if (!(up.length() > 1e-12) || up.normalized().cross(sight).length() < 1e-6)
        up = std::abs(sight.z) > 0.9 ? Vec{0.0, 1.0, 0.0} : worldUp;
    up = up.normalized();
    // Straight up or down, tilt the line of sight a hair towards the screen's
    // up so that the viewer keeps the heading when it flies there.
    const double sideways = std::sqrt(sight.x * sight.x + sight.y * sight.y);
    if (sideways < kMinimumTilt) {
        Vec toward = up - sight * up.dot(sight);
        sight = (sight + toward.normalized() * (kMinimumTilt - sideways)).normalized();
    }
    const Vec back = sight * -1.0;
    const Vec right = up.cross(back).normalized();
    const Vec upward = back.cross(right).normalized();

    Velda::Camera view = frame.camera;
    Velda::Matrix4 m;
    m.setColumn(0, static_cast<float>(right.x), static_cast<float>(right.y), static_cast<float>(right.z), 0.0f);
    m.setColumn(1, static_cast<float>(upward.x), static_cast<float>(upward.y), static_cast<float>(upward.z), 0.0f);
    m.setColumn(2, static_cast<float>(back.x), static_cast<float>(back.y), static_cast<float>(back.z), 0.0f);
    m.setColumn(3, static_cast<float>(eye.x), static_cast<float>(eye.y), static_cast<float>(eye.z), 1.0f);
    view.setTransform(m);

    if (kind == kOrthogonal) {
        const double height = viewToWorldScale / frame.fileUnitsPerSceneUnit();
        if (!std::isfinite(height) || !(height > 0.0) || height > 1e9)
            throw BcfError("视点的正交相机比例无效");
        // The viewer's orthographic volume keeps its own shape on every screen.
        const Velda::Vector4& own = frame.camera.getOrthoBounds();
        const double ownWidth = static_cast<double>(own.y) - own.x, ownHeight = static_cast<double>(own.w) - own.z;
        const double aspect = ownWidth > 0.0 && ownHeight > 0.0 ? ownWidth / ownHeight : 4.0 / 3.0;
        const float half = static_cast<float>(height * 0.5);
        view.setOrthoBounds(static_cast<float>(-half * aspect), static_cast<float>(half * aspect), -half, half);
        view.setProjectionType(Velda::Camera::kOrthographic);
    } else {
        if (!std::isfinite(fieldOfView) || !(fieldOfView > 0.0) || !(fieldOfView < 180.0))
            throw BcfError("视点的视场角无效");
        view.setFov(static_cast<float>(fieldOfView / 180.0 * kPi));
        view.setProjectionType(Velda::Camera::kPerspective);
    }
    return view;
}

Velda::Vector3 BcfCamera::orbitTarget(Velda::Camera view, const Velda::Vector3& sceneCentre)
{
    const Velda::Matrix4& m = view.getTransform();
    const Velda::Vector3 eye(m[12], m[13], m[14]);
    const Velda::Vector3 sight = Velda::Vector3(-m[8], -m[9], -m[10]).normalized();
    float distance = (sceneCentre - eye).dot(sight);
    // Too close to orbit about, or behind: half the scene ahead instead.
    if (!std::isfinite(distance) || distance < kHalfScene * 0.1f)
        distance = kHalfScene;
    return eye + sight * distance;
}

} // namespace VeldaClient
