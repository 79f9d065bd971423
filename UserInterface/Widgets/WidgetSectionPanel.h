#pragma once

#include <QFrame>

class QSlider;

namespace VeldaClient {

class SectionBoxTool;

// Six sliders for the section box's faces (x, y and z, low and high), each
// across the box's limits. They follow the box when its faces are dragged
// in the view, and move the faces when they are dragged themselves.
class WidgetSectionPanel : public QFrame {
    Q_OBJECT

public:
    static const int kSteps = 1000;

    WidgetSectionPanel(SectionBoxTool& sectionBox, QWidget* parent = nullptr);

    QSlider* slider(int face) const { return sliders_[face]; }

public slots:
    // Puts every slider where its face stands.
    void follow();

private:
    void initializeControls();
    void moveFace(int face, int step);

    SectionBoxTool& sectionBox_;
    QSlider* sliders_[6] = {};
};

} // namespace VeldaClient
