#include "UserInterface/Widgets/WidgetSectionPanel.h"

#include "UserInterface/Widgets/SectionBoxTool.h"

#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>

namespace VeldaClient {

WidgetSectionPanel::WidgetSectionPanel(SectionBoxTool& sectionBox, QWidget* parent)
    : QFrame(parent), sectionBox_(sectionBox)
{
    initializeControls();
}

void WidgetSectionPanel::initializeControls()
{
    setObjectName("SectionPanel");
    QGridLayout* layout = new QGridLayout(this);
    QLabel* title = new QLabel("剖切框");
    title->setObjectName("SectionTitle");
    layout->addWidget(title, 0, 0, 1, 2);
    static const char* const names[6] = {"X 最小", "X 最大", "Y 最小", "Y 最大", "Z 最小", "Z 最大"};
    for (int face = 0; face < 6; ++face) {
        QSlider* slider = new QSlider(Qt::Horizontal);
        slider->setRange(0, kSteps);
        slider->setValue(face % 2 ? kSteps : 0);
        layout->addWidget(new QLabel(QString::fromUtf8(names[face])), face + 1, 0);
        layout->addWidget(slider, face + 1, 1);
        connect(slider, &QSlider::valueChanged, this, [this, face](int step) { moveFace(face, step); });
        sliders_[face] = slider;
    }
    connect(&sectionBox_, &SectionBoxTool::changed, this, &WidgetSectionPanel::follow);
    hide();
}

void WidgetSectionPanel::moveFace(int face, int step)
{
    const Velda::AABB3& limits = sectionBox_.limits();
    const int axis = face / 2;
    const float low = limits.getMin().at(axis), span = limits.getMax().at(axis) - low;
    sectionBox_.setFace(face, low + span * static_cast<float>(step) / kSteps);
}

void WidgetSectionPanel::follow()
{
    setVisible(sectionBox_.active());
    if (!sectionBox_.active())
        return;
    const Velda::AABB3& limits = sectionBox_.limits();
    for (int face = 0; face < 6; ++face) {
        const int axis = face / 2;
        const float low = limits.getMin().at(axis), span = limits.getMax().at(axis) - low;
        const float at = span > 0.0f ? (sectionBox_.face(face) - low) / span : 0.0f;
        const QSignalBlocker quiet(sliders_[face]);
        sliders_[face]->setValue(static_cast<int>(std::lround(at * kSteps)));
    }
}

} // namespace VeldaClient
