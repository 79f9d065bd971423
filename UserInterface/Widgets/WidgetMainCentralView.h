#pragma once

#include <QFrame>

#include <cstdint>

class QKeyEvent;
class QLabel;
class QPushButton;

namespace VeldaClient {

class WidgetGLView;
class WidgetGraphicsScene;
class WidgetGraphicsView;
class WidgetProgressBar;

// The main window's central widget: the title strip (title, progress,
// feedback and window buttons) over the GL view with its graphics scene.
// It holds the keys that move the camera and cycle the window size.
class WidgetMainCentralView : public QFrame {
    Q_OBJECT

public:
    explicit WidgetMainCentralView(QWidget* parent = nullptr);

    WidgetGLView* glView() const { return glView_; }
    WidgetGraphicsScene* graphicsScene() const { return scene_; }
    WidgetGraphicsView* graphicsView() const { return view_; }
    WidgetProgressBar* progressBar() const { return progressBar_; }
    QFrame* formTop() const { return formTop_; }

signals:
    void fullScreenApplication();
    void maxApplication();
    void minApplication();
    void normalApplication();
    // Answered by the window through the connected slot's return value.
    bool isFullScreen();
    bool isMaxSize();
    bool isNormalSize();

public slots:
    // Swaps the visibility of the maximise and restore buttons.
    void toggleFormSize();

protected slots:
    // Asks the companion client to open its feedback form.
    void _feedback();
    bool _moveCamera(QObject* obj, QKeyEvent* e);
    bool _switchFormSize(QObject* obj, QKeyEvent* e);
    bool _switchFormSize(QObject* obj);

protected:
    bool eventFilter(QObject* obj, QEvent* e) override;

private:
    void initializeControls();

    QFrame* formTop_ = nullptr;
    QLabel* title_ = nullptr;
    QPushButton* feedback_ = nullptr;
    QPushButton* formMin_ = nullptr;
    QPushButton* formMax_ = nullptr;
    QPushButton* formNormal_ = nullptr;
    QPushButton* close_ = nullptr;
    WidgetProgressBar* progressBar_ = nullptr;
    WidgetGLView* glView_ = nullptr;
    WidgetGraphicsScene* scene_ = nullptr;
    WidgetGraphicsView* view_ = nullptr;
    int32_t clientWindow_ = 0;
};

} // namespace VeldaClient
