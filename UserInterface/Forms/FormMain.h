#pragma once

#include "UserInterface/Widgets/TitleStripDrag.h"

#include <QMainWindow>

namespace VeldaClient {

class WidgetMainCentralView;

// The one top-level window: frameless, dragged by its top strip, with a
// size state of its own (normal, maximum, full screen).
class FormMain : public QMainWindow {
    Q_OBJECT

public:
    explicit FormMain(QWidget* parent = nullptr);
    // Destroys the hub while the GL surface still exists.
    ~FormMain() override;

    WidgetMainCentralView* centralView() const { return centralView_; }

protected slots:
    virtual void maxSizeApplication();
    virtual void fullScreenApplication();
    virtual void normalSizeApplication();
    virtual bool isFullScreen();
    virtual bool isMaxSize();
    virtual bool isNormalSize();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    void initializeControls();

    TitleStripDrag drag;
    const int normalWidth = 1024;
    const int normalHeight = 700;
    int normalX = 0;
    int normalY = 0;
    // Normal size is neither of them.
    bool fullScreen = false;
    bool maxSize = false;
    WidgetMainCentralView* centralView_ = nullptr;
};

} // namespace VeldaClient
