#include "UserInterface/Widgets/WidgetEnvironmentControl.h"

#include "Common/GraphicsContext.h"
#include "render/Context3d.h"
#include "scene/SceneRoot.h"

#include <QMouseEvent>

#include <algorithm>
#include <cmath>

namespace VeldaClient {

namespace {

const QPointF kCentre(67.0, 67.0);

bool nearHandle(const QPointF& point, float radius, float ringTolerance, float angle, float angleTolerance)
{
    const QPointF v = point - kCentre;
    const double d = std::sqrt(v.x() * v.x() + v.y() * v.y());
    const float a = WidgetEnvironmentControl::angleOf(point, kCentre);
    return d > radius - ringTolerance && d < radius + ringTolerance && a > angle - angleTolerance &&
           a < angle + angleTolerance;
}

} // namespace

WidgetEnvironmentControl::WidgetEnvironmentControl(QWidget* parent) : QFrame(parent)
{
    setAttribute(Qt::WA_MouseTracking);
}

void WidgetEnvironmentControl::setLr(float angle)
{
    GraphicsContext* hub = GraphicsContext::instance();
    hub->context3d()->azimuthAngle = angle;
    sunDial.turnByAzimuth(angle, hub->scene()->bounds(), *hub->spotLight());
    hub->requestFrame();
}

void WidgetEnvironmentControl::setTr(float angle)
{
    GraphicsContext* hub = GraphicsContext::instance();
    hub->context3d()->timeAngle = angle;
    sunDial.turnByTime(angle, hub->scene()->bounds(), *hub->spotLight());
    hub->requestFrame();
}

void WidgetEnvironmentControl::setPosition(float w, float h)
{
    Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
    context3d->dialMarginX = w - x() - 134.0f;
    context3d->dialMarginY = h - y() - 134.0f;
}

float WidgetEnvironmentControl::angleOf(const QPointF& point, const QPointF& centre)
{
    const QPointF v = point - centre;
    const double length = std::sqrt(v.x() * v.x() + v.y() * v.y());
    if (length == 0.0)
        return 0.0f;
    // Against the upward direction (0, -1) of the widget; the left half
    // counts from 2 pi down, so the angle grows clockwise as on the dial.
    const float angle = static_cast<float>(std::acos(std::max(-1.0, std::min(1.0, -v.y() / length))));
    return v.x() < 0 ? kTwoPi - angle : angle;
}

bool WidgetEnvironmentControl::overLrHandle(const QPointF& point) const
{
    return nearHandle(point, kInnerRadius, 11.0f, lr(), 0.3f);
}

bool WidgetEnvironmentControl::overTrHandle(const QPointF& point) const
{
    return nearHandle(point, kOuterRadius, 10.0f, tr(), 0.2f);
}

QPointF WidgetEnvironmentControl::dragCentre() const
{
    return QPointF((width() - 20) / 2, (height() - 8) / 2);
}

void WidgetEnvironmentControl::setHot(bool inner, bool outer)
{
    Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
    context3d->innerDialHot = inner;
    context3d->outerDialHot = outer;
}

void WidgetEnvironmentControl::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF point = event->localPos();
    if (overLrHandle(point)) {
        overLr = true;
        overTr = false;
        setHot(true, false);
    } else if (overTrHandle(point)) {
        overTr = true;
        overLr = false;
        setHot(false, true);
    } else {
        overLr = overTr = false;
        if (event->buttons() == Qt::NoButton)
            setHot(false, false);
    }
    if (draggingLr)
        setLr(angleOf(point, dragCentre()));
    else if (draggingTr)
        setTr(angleOf(point, dragCentre()));
}

void WidgetEnvironmentControl::mousePressEvent(QMouseEvent*)
{
    if (overLr)
        draggingLr = true;
    else if (overTr)
        draggingTr = true;
}

void WidgetEnvironmentControl::mouseReleaseEvent(QMouseEvent*)
{
    draggingLr = draggingTr = false;
    setHot(false, false);
}

} // namespace VeldaClient
