#pragma once

#include "UserInterface/Widgets/ViewMouseTool.h"
#include "scene/AABB3.h"

#include <QObject>

namespace Velda {
class ReviewState;
}

namespace VeldaClient {

// The section box as the user shapes it: a box within its limits (the
// scene's or the selection's bounds when it was switched on) whose six
// faces are dragged along their axes by the handles at their centres, or
// set by value. It writes the renderer's review state; the box never turns
// inside out. A press away from the handles is left to the camera.
class SectionBoxTool : public QObject, public ViewMouseTool {
    Q_OBJECT

public:
    enum Face { kNone = -1, kMinX = 0, kMaxX, kMinY, kMaxY, kMinZ, kMaxZ };

    explicit SectionBoxTool(Velda::ReviewState& review, QObject* parent = nullptr);

    // Switches the box on at `limits`, or off.
    void start(const Velda::AABB3& limits);
    void stop();
    bool active() const { return active_; }
    const Velda::AABB3& limits() const { return limits_; }
    Velda::AABB3 box() const;
    // One face's coordinate, kept within the limits and short of the
    // opposite face.
    void setFace(int face, float value);
    float face(int face) const;
    // The face whose handle is under the pointer, for the view to light it up.
    int hotFace() const { return hot_; }
    Velda::Vector3 faceCentre(int face) const;
    // How near a handle the pointer must be to take it, in pixels.
    static constexpr double kHandleRadius = 12.0;

    bool press(const QPointF& at, Qt::MouseButton button) override;
    void drag(const QPointF& at) override;
    void release(const QPointF& at) override;
    void hover(const QPointF& at) override;

signals:
    // The box or its lit face changed.
    void changed();

private:
    int faceAt(const QPointF& at) const;

    Velda::ReviewState& review_;
    Velda::AABB3 limits_;
    bool active_ = false;
    int hot_ = kNone;
    // The drag under way: the face, its coordinate and the pointer at the
    // press, and the face's axis as it runs across the view (pixels per unit).
    int dragged_ = kNone;
    float startValue_ = 0.0f;
    QPointF startAt_;
    QPointF axisOnScreen_;
};

} // namespace VeldaClient
