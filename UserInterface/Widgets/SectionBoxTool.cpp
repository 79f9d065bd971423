#include "UserInterface/Widgets/SectionBoxTool.h"

#include "Common/GraphicsContext.h"
#include "scene/Camera.h"
#include "scene/ReviewState.h"
#include "scene/ViewProjection.h"

#include <algorithm>

namespace VeldaClient {

namespace {

Velda::Vector3 unit(int axis)
{
    Velda::Vector3 v(0.0f, 0.0f, 0.0f);
    v.at(axis) = 1.0f;
    return v;
}

} // namespace

SectionBoxTool::SectionBoxTool(Velda::ReviewState& review, QObject* parent) : QObject(parent), review_(review) {}

void SectionBoxTool::start(const Velda::AABB3& limits)
{
    limits_ = limits;
    active_ = true;
    hot_ = kNone;
    review_.setSection(limits);
    emit changed();
}

void SectionBoxTool::stop()
{
    active_ = false;
    hot_ = dragged_ = kNone;
    review_.clearSection();
    emit changed();
}

Velda::AABB3 SectionBoxTool::box() const
{
    return review_.sectioned() ? review_.section() : limits_;
}

float SectionBoxTool::face(int face) const
{
    const Velda::AABB3 b = box();
    return (face % 2 ? b.getMax() : b.getMin()).at(face / 2);
}

void SectionBoxTool::setFace(int face, float value)
{
    if (!active_ || face < kMinX || face > kMaxZ)
        return;
    const int axis = face / 2;
    Velda::Vector3 lo = box().getMin(), hi = box().getMax();
    const float low = limits_.getMin().at(axis), high = limits_.getMax().at(axis);
    // A sliver of the limits always stays between the two faces.
    const float gap = (high - low) * 0.005f;
    if (face % 2)
        hi.at(axis) = std::max(std::min(value, high), lo.at(axis) + gap);
    else
        lo.at(axis) = std::min(std::max(value, low), hi.at(axis) - gap);
    review_.setSection(Velda::AABB3(lo, hi));
    emit changed();
}

Velda::Vector3 SectionBoxTool::faceCentre(int face) const
{
    const Velda::AABB3 b = box();
    Velda::Vector3 centre = (b.getMin() + b.getMax()) * 0.5f;
    centre.at(face / 2) = this->face(face);
    return centre;
}

int SectionBoxTool::faceAt(const QPointF& at) const
{
    if (!active_)
        return kNone;
    Velda::Camera& camera = *GraphicsContext::instance()->camera();
    int nearest = kNone;
    double best = kHandleRadius * kHandleRadius;
    for (int face = kMinX; face <= kMaxZ; ++face) {
        float x = 0, y = 0;
        if (!Velda::projectToView(camera, faceCentre(face), x, y))
            continue;
        const double dx = x - at.x(), dy = y - at.y();
        if (dx * dx + dy * dy <= best) {
            best = dx * dx + dy * dy;
            nearest = face;
        }
    }
    return nearest;
}

bool SectionBoxTool::press(const QPointF& at, Qt::MouseButton button)
{
    const int face = button == Qt::LeftButton ? faceAt(at) : kNone;
    if (face == kNone)
        return false;
    const Velda::Vector3 point = faceCentre(face);
    // How the face's axis runs across the view where it was grabbed.
    Velda::Camera& camera = *GraphicsContext::instance()->camera();
    const Velda::Vector3 ahead = point + unit(face / 2) * (box().getMax() - box().getMin()).length() * 0.1f;
    float x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    if (!Velda::projectToView(camera, point, x0, y0) || !Velda::projectToView(camera, ahead, x1, y1))
        return false;
    const float length = (ahead - point).length();
    axisOnScreen_ = QPointF((x1 - x0) / length, (y1 - y0) / length);
    if (axisOnScreen_.x() * axisOnScreen_.x() + axisOnScreen_.y() * axisOnScreen_.y() < 1e-6)
        return false;  // the axis points at the eye: a drag could not move it
    dragged_ = hot_ = face;
    startValue_ = this->face(face);
    startAt_ = at;
    emit changed();
    return true;
}

void SectionBoxTool::drag(const QPointF& at)
{
    if (dragged_ == kNone)
        return;
    const QPointF moved = at - startAt_;
    const double perUnit = axisOnScreen_.x() * axisOnScreen_.x() + axisOnScreen_.y() * axisOnScreen_.y();
    const double units = (moved.x() * axisOnScreen_.x() + moved.y() * axisOnScreen_.y()) / perUnit;
    setFace(dragged_, startValue_ + static_cast<float>(units));
}

void SectionBoxTool::release(const QPointF& at)
{
    drag(at);
    dragged_ = kNone;
    hover(at);
}

void SectionBoxTool::hover(const QPointF& at)
{
    const int face = faceAt(at);
    if (face == hot_)
        return;
    hot_ = face;
    emit changed();
}

} // namespace VeldaClient
