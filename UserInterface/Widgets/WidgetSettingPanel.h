#pragma once

#include <QFrame>

class QLabel;
class QSlider;

namespace VeldaClient {

// The box of six sliders under the setting menu: camera near plane, shadow
// quality and shade, camera speed, bloom and ambient occlusion. Each writes
// the renderer's or the hub's field at once; nothing is kept on disk. The
// sliders start at the engine's own defaults, which are not pushed.
class WidgetSettingPanel : public QFrame {
    Q_OBJECT

public:
    explicit WidgetSettingPanel(QWidget* parent = nullptr);

private slots:
    void setCameraZNearText(int val);
    void setShadowQuality(int val);
    void setShadowShade(int val);
    void setCameraSpeed(int val);
    void setBloomCoefficient(int val);
    void setSSAOLevel(int val);

private:
    void initializeControls();
    // A row: title, stretch, value label; then its slider.
    QSlider* addRow(const char* title, int minimum, int maximum, int value, const char* valueText, QLabel** label);

    QLabel* zNearLabel_ = nullptr;
    QLabel* shadowQualityLabel_ = nullptr;
    QLabel* shadowShadeLabel_ = nullptr;
    QLabel* cameraSpeedLabel_ = nullptr;
    QLabel* bloomLabel_ = nullptr;
    QLabel* ssaoLabel_ = nullptr;
};

} // namespace VeldaClient
