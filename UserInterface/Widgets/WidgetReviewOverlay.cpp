#include "UserInterface/Widgets/WidgetReviewOverlay.h"

#include "UserInterface/Widgets/SectionBoxTool.h"
#include "scene/Camera.h"
#include "scene/ViewProjection.h"

#include <QFontMetrics>
#include <QPainter>

namespace VeldaClient {

namespace {

bool onScreen(Velda::Camera& camera, const Velda::Vector3& point, QPointF& at)
{
    float x = 0, y = 0;
    if (!Velda::projectToView(camera, point, x, y))
        return false;
    at = QPointF(x, y);
    return true;
}

} // namespace

WidgetReviewOverlay::WidgetReviewOverlay(const SectionBoxTool& sectionBox, QWidget* parent)
    : QWidget(parent), sectionBox_(sectionBox)
{
    initializeControls();
}

void WidgetReviewOverlay::initializeControls()
{
    setObjectName("ReviewOverlay");
    // Never shown: it paints inside the scene's frame instead.
    hide();
}

void WidgetReviewOverlay::setMeasurement(const std::vector<Velda::Vector3>& points, const QString& length)
{
    points_ = points;
    length_ = length;
}

void WidgetReviewOverlay::paint(QPainter& painter, Velda::Camera& camera)
{
    if (!sectionBox_.active() && points_.empty())
        return;
    ensurePolished();
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, true);
    if (sectionBox_.active())
        paintSectionBox(painter, camera);
    paintMeasurement(painter, camera);
    painter.restore();
}

void WidgetReviewOverlay::paintSectionBox(QPainter& painter, Velda::Camera& camera)
{
    const Velda::AABB3 box = sectionBox_.box();
    const Velda::Vector3 lo = box.getMin(), hi = box.getMax();
    QPointF corner[8];
    bool seen[8];
    for (int i = 0; i < 8; ++i)
        seen[i] = onScreen(camera, Velda::Vector3(i & 1 ? hi.x : lo.x, i & 2 ? hi.y : lo.y, i & 4 ? hi.z : lo.z),
                           corner[i]);
    painter.setPen(QPen(boxColor_, 1.5));
    // The twelve edges join corners one bit apart.
    for (int i = 0; i < 8; ++i)
        for (int bit : {1, 2, 4})
            if (!(i & bit) && seen[i] && seen[i | bit])
                painter.drawLine(corner[i], corner[i | bit]);
    for (int face = SectionBoxTool::kMinX; face <= SectionBoxTool::kMaxZ; ++face) {
        QPointF at;
        if (!onScreen(camera, sectionBox_.faceCentre(face), at))
            continue;
        const bool hot = face == sectionBox_.hotFace();
        painter.setPen(QPen(boxColor_, 1.5));
        painter.setBrush(hot ? hotColor_ : handleColor_);
        const double radius = hot ? 8.0 : 6.0;
        painter.drawEllipse(at, radius, radius);
    }
}

void WidgetReviewOverlay::paintMeasurement(QPainter& painter, Velda::Camera& camera)
{
    std::vector<QPointF> at;
    for (const Velda::Vector3& point : points_) {
        QPointF p;
        if (onScreen(camera, point, p))
            at.push_back(p);
    }
    painter.setPen(QPen(measureColor_, 2.0));
    painter.setBrush(measureColor_);
    if (at.size() == 2 && points_.size() == 2)
        painter.drawLine(at[0], at[1]);
    for (const QPointF& p : at)
        painter.drawEllipse(p, 4.0, 4.0);
    if (at.size() != 2 || length_.isEmpty())
        return;
    const QPointF middle = (at[0] + at[1]) / 2.0;
    const QFontMetrics metrics(font());
    QRectF label = metrics.boundingRect(length_);
    label.adjust(-6, -3, 6, 3);
    label.moveCenter(middle + QPointF(0, -label.height()));
    painter.setPen(Qt::NoPen);
    painter.setBrush(labelBackground_);
    painter.drawRoundedRect(label, 4, 4);
    painter.setPen(labelColor_);
    painter.setFont(font());
    painter.drawText(label, Qt::AlignCenter, length_);
}

} // namespace VeldaClient
