#pragma once

#include "UserInterface/Widgets/ViewDecoration.h"
#include "scene/Vector.h"

#include <QColor>
#include <QWidget>

#include <vector>

namespace VeldaClient {

class SectionBoxTool;

// What the review tools draw over the 3D picture: the section box's edges
// and its six handles (the one under the pointer lit), and a measurement's
// points and line with its length. It shows nothing itself: the scene has
// it paint over each frame, through the frame's camera. Its colours come
// from the style sheet, like every widget's look.
class WidgetReviewOverlay : public QWidget, public ViewDecoration {
    Q_OBJECT
    Q_PROPERTY(QColor boxColor MEMBER boxColor_)
    Q_PROPERTY(QColor handleColor MEMBER handleColor_)
    Q_PROPERTY(QColor hotColor MEMBER hotColor_)
    Q_PROPERTY(QColor measureColor MEMBER measureColor_)
    Q_PROPERTY(QColor labelColor MEMBER labelColor_)
    Q_PROPERTY(QColor labelBackground MEMBER labelBackground_)

public:
    WidgetReviewOverlay(const SectionBoxTool& sectionBox, QWidget* parent = nullptr);

    // The measurement to draw: no, one or two points (scene units) and the
    // length's text once there are two.
    void setMeasurement(const std::vector<Velda::Vector3>& points, const QString& length);

    void paint(QPainter& painter, Velda::Camera& camera) override;

private:
    void initializeControls();
    void paintSectionBox(QPainter& painter, Velda::Camera& camera);
    void paintMeasurement(QPainter& painter, Velda::Camera& camera);

    const SectionBoxTool& sectionBox_;
    std::vector<Velda::Vector3> points_;
    QString length_;
    QColor boxColor_{19, 165, 219};
    QColor handleColor_{255, 255, 255};
    QColor hotColor_{255, 160, 40};
    QColor measureColor_{255, 220, 40};
    QColor labelColor_{255, 255, 255};
    QColor labelBackground_{0, 0, 0, 170};
};

} // namespace VeldaClient
