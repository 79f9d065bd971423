#pragma once

#include <GL/glew.h>

#include <QGraphicsScene>
#include <QImage>

#include <cstdint>
#include <vector>

namespace VeldaClient {

class FrameScheduler;
class ViewDecoration;
class ViewMouseTool;
class WidgetMiniMap;
class WidgetUIWrapper;

// The graphics scene of the GL view. Its background is the 3D frame, drawn
// natively by the renderer; its one item is the transparent overlay of Qt
// widgets. Mouse events that no overlay widget takes move the camera.
class WidgetGraphicsScene : public QGraphicsScene {
    Q_OBJECT

public:
    explicit WidgetGraphicsScene(QObject* parent = nullptr);
    ~WidgetGraphicsScene() override;

    WidgetUIWrapper* uiWrapper() const { return wrapper; }
    // When frames are drawn, and how many have been.
    FrameScheduler* frameScheduler() const { return scheduler; }
    // The present view without the dial, 120 by 80; a null image until the
    // scene is ready. Makes the GL surface's context current.
    QImage grabFramePicture();

    // A tool offered each press over the view before the camera takes it;
    // a decoration painted over each frame. Neither is owned.
    void addMouseTool(ViewMouseTool* tool) { tools_.push_back(tool); }
    void addDecoration(ViewDecoration* decoration) { decorations_.push_back(decoration); }

    // A left press and release within this many pixels is a click, not a drag.
    static constexpr double kClickSlop = 4.0;

signals:
    // A left click on the view that no widget took (view pixels).
    void viewClicked(QPointF position, Qt::KeyboardModifiers modifiers);
    void setProcessValue(int value);
    void updateModelPieceInfo(unsigned long long qty);
    void closeAppConfirm();

public slots:
    virtual void resizeScene(int w, int h);
    // Stores the present view on a saved-view button.
    void grabCurrentFrame(QWidget* widget);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void wheelEvent(QGraphicsSceneWheelEvent* event) override;
    // The frame: main view, the mini map while loading, the mini map's
    // picture over it; the scheduler decides on the next one.
    void drawBackground(QPainter* painter, const QRectF& rect) override;

private:
    // Left drag: turns about the pivot; a pitch past the pole is refused
    // (and skips the other buttons), the yaw stays.
    bool orbit(const QPointF& position);
    void panOnGround(const QPointF& position, double panScale);
    void panInViewPlane(const QPointF& position, double panScale);
    // The face count, the progress bar's value and the log's "ready percent:" line.
    void reportProgress();
    // dx, dy from the last position, which becomes `position`.
    void takeDelta(const QPointF& position);
    GLuint offscreenFrameBuffer();

    GLuint frameBufferId = static_cast<GLuint>(-1);
    GLuint colorTextureId = static_cast<GLuint>(-1);
    GLuint depthBufferId = static_cast<GLuint>(-1);
    WidgetUIWrapper* wrapper = nullptr;
    double deltaX = 0.0;
    double deltaY = 0.0;
    double lastX = 0.0;
    double lastY = 0.0;
    int64_t lastActionTime = 0;
    WidgetMiniMap* miniMap = nullptr;
    FrameScheduler* scheduler = nullptr;
    int frameBufferWidth = -1;
    int frameBufferHeight = -1;
    bool readyReported = false;
    std::vector<ViewMouseTool*> tools_;
    ViewMouseTool* activeTool_ = nullptr;  // took the drag under way
    std::vector<ViewDecoration*> decorations_;
    QPointF pressAt_;
    bool clickPossible_ = false;  // a left press not yet moved beyond the slop
    uint64_t miniMapReview_ = 0;  // the review state the mini map shows
};

} // namespace VeldaClient
