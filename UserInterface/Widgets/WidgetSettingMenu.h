#pragma once

#include <QFrame>

#include <string>

class QKeyEvent;
class QPropertyAnimation;
class QPushButton;

namespace VeldaClient {

// The strip of icon buttons at the top left of the view: save, camera type,
// white model, season, settings, and the pair that slides the strip off to
// the left until only its expand button shows. Keys C, B and Ctrl+S.
class WidgetSettingMenu : public QFrame {
    Q_OBJECT
    // The strip's x, for the slide. The getter answers the width: the
    // animation is always given both ends and never reads it.
    Q_PROPERTY(int menuPosX READ menuPosX WRITE setMenuPosX NOTIFY menuPosXChanged)

public:
    explicit WidgetSettingMenu(QWidget* parent = nullptr);

    int menuPosX() const { return width(); }
    void setMenuPosX(int x);

signals:
    void configButtonPressed(bool flag);
    void saveButtonPressed(bool flag);
    void shrinkSettingMenu(bool flag);
    void menuPosXChanged();
    void displayInfo(std::string info);

public slots:
    // true: perspective, false: orthographic.
    void switchCameraType(bool flag);
    // In development: does nothing.
    void switchSeason(bool flag);
    void toggleCameraType(bool flag);
    // Slides the strip out or back in 180 ms.
    void togglePanelVisiable(bool flag);
    void toggleWhiteModel(bool flag);
    void toggleWhiteModel();
    void setAssetLoadComplete(bool flag);

protected slots:
    // The setting panel can't open from a strip that is pushed out.
    void _hideConfigPanelButton();
    // C: passed on to an open dialog, otherwise a switch of the camera type.
    bool _switchCamera(QObject* obj, QKeyEvent* e);

protected:
    virtual void initializeControls();

private:
    bool _whiteModelKey(QObject* obj, QKeyEvent* e);
    bool _saveKey(QObject* obj, QKeyEvent* e);
    QPushButton* addButton(const char* name, const char* tooltip);

    QPushButton* save_ = nullptr;
    QPushButton* cameraA_ = nullptr;
    QPushButton* cameraB_ = nullptr;
    QPushButton* whiteModelWhite_ = nullptr;
    QPushButton* whiteModelLight_ = nullptr;
    QPushButton* season_ = nullptr;
    QPushButton* setting_ = nullptr;
    QPushButton* shrink_ = nullptr;
    QPushButton* expand_ = nullptr;
    QPropertyAnimation* slide_ = nullptr;
    bool assetLoadComplete_ = false;
};

} // namespace VeldaClient
