#pragma once

#include <QFrame>

#include <string>

class QKeyEvent;
class QLabel;
class QTimer;

namespace VeldaClient {

class WidgetEnvironmentControl;
class WidgetInformation;
class WidgetMiniMap;

// The transparent overlay that the graphics scene carries as its one item.
// Everything that floats over the 3D picture is its child: the sun dial and
// the mini map in the corners, the information line in the middle and the
// status strip at the bottom (free children are placed in resizeEvent). It
// holds the exit flow and polls the companion client once a second.
class WidgetUIWrapper : public QFrame {
    Q_OBJECT

public:
    explicit WidgetUIWrapper(QWidget* parent = nullptr);
    ~WidgetUIWrapper() override;

    WidgetEnvironmentControl* sunDial() const { return sunDial_; }
    WidgetMiniMap* miniMap() const { return miniMap_; }
    WidgetInformation* information() const { return information_; }
    QLabel* faceCountLabel() const { return totalPiece_; }
    QLabel* modelLabel() const { return modelInfo_; }
    QLabel* bottomLabel() const { return formBottom_; }
    QFrame* statusFrame() const { return statusFrame_; }

signals:
    void displayInfo(std::string info);
    void screenShot(QWidget* widget);

public slots:
    // Ends the viewer; with unsaved views it would ask first.
    void _closeAppConfirm();

protected slots:
    // Escape: passed on to an open dialog, otherwise the exit flow.
    bool _quitConfirm(QObject* obj, QKeyEvent* e);
    // State 0 means the companion client has gone.
    void _checkQemClient();
    void _updateModelPieceInfo(unsigned long long qty);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void initializeControls();

    WidgetEnvironmentControl* sunDial_ = nullptr;
    WidgetMiniMap* miniMap_ = nullptr;
    QLabel* totalPiece_ = nullptr;
    QLabel* modelInfo_ = nullptr;
    QLabel* formBottom_ = nullptr;
    QFrame* frameSpace_ = nullptr;
    QFrame* statusFrame_ = nullptr;
    QFrame* frameTopBorder_ = nullptr;
    WidgetInformation* information_ = nullptr;
    QTimer* clientTimer_ = nullptr;
};

} // namespace VeldaClient
