#pragma once

#include <QFrame>
#include <QFutureWatcher>

#include <string>

class QKeyEvent;
class QLabel;
class QPushButton;
class QTimer;

namespace VeldaClient {

class ReviewTools;
class WidgetEnvironmentControl;
class WidgetGallery;
class WidgetInformation;
class WidgetMiniMap;
class WidgetSettingMenu;
class WidgetSettingPanel;

// The transparent overlay that the graphics scene carries as its one item.
// Everything that floats over the 3D picture is its child: the setting menu
// and panel, the sun dial and the mini map in the corners, the gallery of
// saved views and the take-view button, the information line in the middle
// and the status strip at the bottom (free children are placed in
// resizeEvent). It takes views, runs the save on a pool thread, holds the
// exit flow and polls the companion client once a second.
class WidgetUIWrapper : public QFrame {
    Q_OBJECT

public:
    explicit WidgetUIWrapper(QWidget* parent = nullptr);
    ~WidgetUIWrapper() override;

    WidgetSettingMenu* settingMenu() const { return settingMenu_; }
    WidgetSettingPanel* settingPanel() const { return settingPanel_; }
    WidgetEnvironmentControl* sunDial() const { return sunDial_; }
    WidgetMiniMap* miniMap() const { return miniMap_; }
    WidgetGallery* gallery() const { return gallery_; }
    QPushButton* takePhotoButton() const { return takePhoto_; }
    WidgetInformation* information() const { return information_; }
    QLabel* faceCountLabel() const { return totalPiece_; }
    QLabel* modelLabel() const { return modelInfo_; }
    QLabel* bottomLabel() const { return formBottom_; }
    QFrame* statusFrame() const { return statusFrame_; }
    QFutureWatcher<bool>* saveWatcher() const { return saveWatcher_; }
    // Picking, property panel, hide and isolate, section box, measuring.
    ReviewTools* reviewTools() const { return reviewTools_; }

signals:
    // Declared with the overlay's interface; nothing emits them.
    void setProcessValue(int value);
    void mouseDbClick();
    void saveInfo(bool flag);
    void switchCameraType(bool isProj);
    void toggleWhiteModel(bool flag);
    void setAssetLoadComplete(bool flag);
    void takeScreenShot(bool flag);
    void takeScreenShot();

    void displayInfo(std::string info);
    // Asks the scene to store the present view on this saved-view button.
    void screenShot(QWidget* widget);

public slots:
    // Ends the viewer; with changed views it asks whether to save them first.
    void _closeAppConfirm();

protected slots:
    // Opens or closes the setting panel under the menu.
    void _configSettings(bool);
    // The sun dial's two angles as a new array; the receiver frees it.
    float* _fetchRadValue();
    // Sets both angles and frees the array.
    void _setRadValue(float* values);
    void _closeSettingPanel(bool);
    // The status text of the selected view; stops other views' flights.
    void _switchSelectedItem(bool);
    // The save job, on a pool thread: false when the client is not signed in.
    bool _saveInfo(bool flag);
    bool _saveInfo();
    void _asyncSaveInfo(bool flag);
    // Starts the save job and hands it to the watcher.
    void _asyncSaveInfo();
    // Escape: passed on to an open dialog, otherwise the exit flow.
    bool _quitConfirm(QObject* obj, QKeyEvent* e);
    void _saveFinished();
    // State 0 means the companion client has gone.
    void _checkQemClient();
    // Stores the present view in the first empty place, or asks to replace
    // the selected one when all ten are taken.
    void _takeScreenShot(bool flag);
    void _takeScreenShot();
    void _updateModelPieceInfo(unsigned long long qty);

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void initializeControls();
    bool _toggleGallery(QObject* obj, QKeyEvent* e);
    bool _takeViewKey(QObject* obj, QKeyEvent* e);

    WidgetSettingMenu* settingMenu_ = nullptr;
    WidgetSettingPanel* settingPanel_ = nullptr;
    WidgetEnvironmentControl* sunDial_ = nullptr;
    WidgetMiniMap* miniMap_ = nullptr;
    WidgetGallery* gallery_ = nullptr;
    QPushButton* takePhoto_ = nullptr;
    QLabel* totalPiece_ = nullptr;
    QLabel* modelInfo_ = nullptr;
    QLabel* formBottom_ = nullptr;
    QFrame* frameSpace_ = nullptr;
    QFrame* statusFrame_ = nullptr;
    QFrame* frameTopBorder_ = nullptr;
    WidgetInformation* information_ = nullptr;
    QFutureWatcher<bool>* saveWatcher_ = nullptr;
    QTimer* clientTimer_ = nullptr;
    ReviewTools* reviewTools_ = nullptr;
};

} // namespace VeldaClient
