#include "UserInterface/Widgets/WidgetSettingPanel.h"

#include "Common/GraphicsContext.h"
#include "render/Context3d.h"
#include "scene/Camera.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

namespace VeldaClient {

namespace {
QString twoDecimals(double value)
{
    return QString::number(value, 'f', 2);
}
} // namespace

WidgetSettingPanel::WidgetSettingPanel(QWidget* parent) : QFrame(parent)
{
    initializeControls();
}

void WidgetSettingPanel::initializeControls()
{
    setObjectName("SettingPanel");
    QVBoxLayout* layout = new QVBoxLayout(this);
    layout->addStretch();
    layout->setSpacing(0);

    // Each slider has its start value before it is connected: no slot runs now.
    const struct {
        const char* title;
        int minimum, maximum, value;
        const char* valueText;
        QLabel** label;
        const char* slot;
    } rows[] = {
        {"相机切片", 1, 100, 1, "0", &zNearLabel_, SLOT(setCameraZNearText(int))},
        {"阴影质量", 0, 3, 2, "中级", &shadowQualityLabel_, SLOT(setShadowQuality(int))},
        {"阴影深浅", 0, 100, 45, "0.45", &shadowShadeLabel_, SLOT(setShadowShade(int))},
        {"相机速度", 1, 100, 30, "30", &cameraSpeedLabel_, SLOT(setCameraSpeed(int))},
        {"Bloom系数", 0, 100, 21, "0.21", &bloomLabel_, SLOT(setBloomCoefficient(int))},
        {"SSAO系数", 200, 300, 200, "0.00", &ssaoLabel_, SLOT(setSSAOLevel(int))},
    };
    for (const auto& row : rows) {
        QSlider* slider = addRow(row.title, row.minimum, row.maximum, row.value, row.valueText, row.label);
        connect(slider, SIGNAL(valueChanged(int)), this, row.slot);
        // Moved by code as well as by hand: the picture follows either way.
        connect(slider, &QSlider::valueChanged, GraphicsContext::instance(), &GraphicsContext::requestFrame);
    }
}

QSlider* WidgetSettingPanel::addRow(const char* title, int minimum, int maximum, int value, const char* valueText,
                                    QLabel** label)
{
    QHBoxLayout* texts = new QHBoxLayout();
    texts->addWidget(new QLabel(QString::fromUtf8(title)));
    texts->addStretch();
    *label = new QLabel(QString::fromUtf8(valueText));
    texts->addWidget(*label);
    QSlider* slider = new QSlider(Qt::Horizontal);
    slider->setRange(minimum, maximum);
    slider->setValue(value);
    QVBoxLayout* layout = static_cast<QVBoxLayout*>(this->layout());
    layout->addLayout(texts);
    layout->addWidget(slider);
    return slider;
}

void WidgetSettingPanel::setCameraZNearText(int val)
{
    zNearLabel_->setText(QString::number(val / 10));
    GraphicsContext::instance()->camera()->setNear(static_cast<float>(val / 500.0));
}

void WidgetSettingPanel::setShadowQuality(int val)
{
    static const char* const names[] = {"关闭", "低级", "中级", "高级"};
    if (val >= 0 && val <= 3)
        shadowQualityLabel_->setText(QString::fromUtf8(names[val]));
    GraphicsContext* hub = GraphicsContext::instance();
    hub->context3d()->setShadowQuality(val, hub->spotLight());
}

void WidgetSettingPanel::setShadowShade(int val)
{
    shadowShadeLabel_->setText(twoDecimals(val / 100.0));
    GraphicsContext::instance()->context3d()->setShadowShade(val);
}

void WidgetSettingPanel::setCameraSpeed(int val)
{
    cameraSpeedLabel_->setText(QString::number(val));
    GraphicsContext::instance()->setRotationSpeed(static_cast<float>(val / 5000.0));
}

void WidgetSettingPanel::setBloomCoefficient(int val)
{
    bloomLabel_->setText(twoDecimals(val / 100.0));
    GraphicsContext::instance()->context3d()->setBloomCoefficient(val);
}

void WidgetSettingPanel::setSSAOLevel(int val)
{
    ssaoLabel_->setText(twoDecimals(val / 100.0 - 2.0));
    GraphicsContext::instance()->context3d()->setSSAOLevel(val);
}

} // namespace VeldaClient
