#pragma once

#include "scene/SunDial.h"

#include <QFrame>

namespace VeldaClient {

// The sun dial's logic: hit tests and dragging of its two handles. The
// inner handle (lr) turns the sun about the world's up axis, the outer one
// (tr) sets its height over the day. The dial's picture is the renderer's.
class WidgetEnvironmentControl : public QFrame {
    Q_OBJECT

public:
    static constexpr float kTwoPi = 6.283185f;
    static constexpr float kInnerRadius = 26.0f;
    static constexpr float kOuterRadius = 52.0f;

    explicit WidgetEnvironmentControl(QWidget* parent = nullptr);

    float lr() const { return sunDial.azimuth(); }
    float tr() const { return sunDial.time(); }
    // Store the angle, hand it to the renderer and turn the sun.
    void setLr(float angle);
    void setTr(float angle);
    // Tells the dial where it stands in a view of w by h, as margins from the
    // lower right corner.
    void setPosition(float w, float h);

    // Clockwise from the top, in [0, 2 pi), of `point` about `centre`.
    static float angleOf(const QPointF& point, const QPointF& centre);
    // Over a handle: its ring within the tolerance and its angle near.
    bool overLrHandle(const QPointF& point) const;
    bool overTrHandle(const QPointF& point) const;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    // Where angles are measured from while a handle is dragged.
    QPointF dragCentre() const;
    void setHot(bool inner, bool outer);

    bool draggingTr = false;
    bool draggingLr = false;
    bool overTr = false;
    bool overLr = false;
    Velda::SunDial sunDial;
};

} // namespace VeldaClient
