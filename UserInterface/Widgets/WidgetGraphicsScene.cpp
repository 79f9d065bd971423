#include "UserInterface/Widgets/WidgetGraphicsScene.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/FrameScheduler.h"
#include "UserInterface/Widgets/ReviewTools.h"
#include "UserInterface/Widgets/ViewContext.h"
#include "UserInterface/Widgets/ViewDecoration.h"
#include "UserInterface/Widgets/ViewMouseTool.h"
#include "UserInterface/Widgets/WidgetMiniMap.h"
#include "UserInterface/Widgets/WidgetThumbnail.h"
#include "UserInterface/Widgets/WidgetUIWrapper.h"
#include "assets/AssetManager.h"
#include "formats/Geometry.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"

#include <QCoreApplication>
#include <QGraphicsProxyWidget>
#include <QGraphicsSceneMouseEvent>
#include <QGraphicsSceneWheelEvent>
#include <QGraphicsView>
#include <QOpenGLWidget>
#include <QPainter>

#include <algorithm>
#include <stdexcept>

namespace VeldaClient {

namespace {

bool sceneReady()
{
    Velda::AssetManager* assets = Velda::AssetManager::instance();
    return assets && assets->isReady();
}

float loadProgress()
{
    Velda::AssetManager* assets = Velda::AssetManager::instance();
    return assets ? assets->progress() : 0.0f;
}

Velda::Vector3 axisOf(const Velda::Matrix4& m, int i)
{
    const Velda::Vector4 c = m.getColumn(i);
    return Velda::Vector3(c.x, c.y, c.z);
}

} // namespace

WidgetGraphicsScene::WidgetGraphicsScene(QObject* parent) : QGraphicsScene(parent)
{
    wrapper = new WidgetUIWrapper();
    addWidget(wrapper);
    wrapper->setObjectName("UI");
    wrapper->setStyleSheet(" #UI { \t\t\tbackground-color:rgba(0, 0, 0, 0); \t\t} ");
    miniMap = wrapper->miniMap();
    wrapper->reviewTools()->attach(*this);
    connect(wrapper, SIGNAL(screenShot(QWidget*)), this, SLOT(grabCurrentFrame(QWidget*)));
    connect(this, SIGNAL(updateModelPieceInfo(unsigned long long)), wrapper,
            SLOT(_updateModelPieceInfo(unsigned long long)));
    connect(this, SIGNAL(closeAppConfirm()), wrapper, SLOT(_closeAppConfirm()));
    for (QGraphicsItem* item : items(Qt::DescendingOrder)) {
        item->setFlag(QGraphicsItem::ItemIsMovable, true);
        item->setCacheMode(QGraphicsItem::DeviceCoordinateCache, QSize(-1, -1));
    }

    scheduler = new FrameScheduler(&FrameSignature::capture, this);
    connect(scheduler, SIGNAL(frameWanted()), this, SLOT(update()));
    connect(GraphicsContext::instance(), &GraphicsContext::frameRequested, scheduler, &FrameScheduler::invalidate);
    if (QCoreApplication* application = QCoreApplication::instance())
        application->installEventFilter(scheduler);
}

WidgetGraphicsScene::~WidgetGraphicsScene()
{
    delete wrapper;
}

void WidgetGraphicsScene::resizeScene(int w, int h)
{
    wrapper->setFixedSize(w, h);
    Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
    context3d->viewportWidth = w;
    context3d->viewportHeight = h;
}

void WidgetGraphicsScene::drawBackground(QPainter* painter, const QRectF&)
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Context3d* context3d = hub->context3d();
    Velda::Camera* camera = hub->camera();
    Velda::SceneRoot* scene = hub->scene();
    scheduler->setContinuous(context3d->faithful);
    context3d->frameScale = scheduler->frameStarting();

    painter->beginNativePainting();
    GLint qtFrameBuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &qtFrameBuffer);
    glLoadIdentity();
    glEnable(GL_MULTISAMPLE);

    context3d->begin(camera, -1, qtFrameBuffer);
    context3d->render(scene, true, true, true, true);
    context3d->end();

    // The mini map follows the scene while it loads, and again when the
    // review tools hide, cut or tint something.
    const uint64_t review = context3d->review.version();
    if (!sceneReady() || review != miniMapReview_) {
        miniMapReview_ = review;
        Velda::Camera mapCamera = miniMap->frameCamera();
        context3d->begin(&mapCamera, static_cast<int>(miniMap->texture()), qtFrameBuffer);
        context3d->render(scene, true, true, true, false);
        context3d->end();
        if (!sceneReady())
            reportProgress();
    }
    if (sceneReady() && !readyReported) {
        readyReported = true;
        reportProgress();
    }

    context3d->begin(camera, -1, qtFrameBuffer);
    context3d->flatTex(static_cast<int>(miniMap->texture()), static_cast<float>(miniMap->x()),
                       static_cast<float>(miniMap->y()), static_cast<float>(miniMap->width()),
                       static_cast<float>(miniMap->height()), Velda::Matrix4());
    context3d->end();

    glDisable(GL_MULTISAMPLE);
    restorePainterState();
    painter->endNativePainting();
    for (ViewDecoration* decoration : decorations_)
        decoration->paint(*painter, *camera);
    scheduler->frameDrawn();
}

void WidgetGraphicsScene::reportProgress()
{
    const float percent = loadProgress();
    emit updateModelPieceInfo(static_cast<unsigned long long>(Velda::Geometry::triangleTotal()));
    emit setProcessValue(static_cast<int>(percent * 100.0));
    VLOG << "ready percent:" << percent;
}

GLuint WidgetGraphicsScene::offscreenFrameBuffer()
{
    const Velda::Vector4& viewport = GraphicsContext::instance()->camera()->getViewport();
    const int width = static_cast<int>(viewport.z);
    const int height = static_cast<int>(viewport.w);
    // A change of one dimension alone keeps the old target.
    if (width == frameBufferWidth || height == frameBufferHeight)
        return frameBufferId;
    if (frameBufferId != static_cast<GLuint>(-1))
        glDeleteFramebuffers(1, &frameBufferId);
    frameBufferWidth = width;
    frameBufferHeight = height;
    GLint previous = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
    glGenFramebuffers(1, &frameBufferId);
    glBindFramebuffer(GL_FRAMEBUFFER, frameBufferId);
    glGenTextures(1, &colorTextureId);
    glBindTexture(GL_TEXTURE_2D, colorTextureId);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, width, height, 0, GL_RGBA, GL_FLOAT, nullptr);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colorTextureId, 0);
    glGenRenderbuffers(1, &depthBufferId);
    glBindRenderbuffer(GL_RENDERBUFFER, depthBufferId);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT, width, height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depthBufferId);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        throw std::runtime_error("FBO ERROR!");
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
    return frameBufferId;
}

QImage WidgetGraphicsScene::grabFramePicture()
{
    if (!sceneReady())
        return QImage();
    ViewContext viewContext(*this);
    if (!viewContext.ready())
        return QImage();

    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Context3d* context3d = hub->context3d();
    Velda::Camera* camera = hub->camera();
    const int width = static_cast<int>(camera->getViewport().z);
    const int height = static_cast<int>(camera->getViewport().w);
    QImage image(sceneRect().size().toSize(), QImage::Format_ARGB32);

    glLoadIdentity();
    glEnable(GL_MULTISAMPLE);
    const GLuint target = offscreenFrameBuffer();
    // A saved view's picture is always the full one.
    const float frameScale = context3d->frameScale;
    context3d->frameScale = 1.0f;
    context3d->begin(camera, -1, static_cast<int>(target));
    context3d->render(hub->scene(), true, true, true, false);
    context3d->end();
    context3d->frameScale = frameScale;
    // Never more than the picture holds, whatever the viewport says.
    const int readWidth = std::min(width, image.width());
    const int readHeight = std::min(height, image.height());
    glBindFramebuffer(GL_FRAMEBUFFER, target);
    glPixelStorei(GL_PACK_ROW_LENGTH, image.width());
    glReadPixels(0, 0, readWidth, readHeight, GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glDisable(GL_MULTISAMPLE);
    scheduler->invalidate();

    // RGBA bytes into ARGB32 (B, G, R, A in memory), opaque; GL rows run bottom-up.
    for (int y = 0; y < readHeight; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < readWidth; ++x) {
            std::swap(line[4 * x], line[4 * x + 2]);
            line[4 * x + 3] = 255;
        }
    }
    return image.mirrored(false, true).scaled(120, 80, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

void WidgetGraphicsScene::grabCurrentFrame(QWidget* widget)
{
    WidgetThumbnail* thumbnail = qobject_cast<WidgetThumbnail*>(widget);
    if (!thumbnail)
        return;
    const QImage picture = grabFramePicture();
    if (!picture.isNull())
        thumbnail->storeView(picture);
}

void WidgetGraphicsScene::takeDelta(const QPointF& position)
{
    deltaX = position.x() - lastX;
    deltaY = position.y() - lastY;
    lastX = position.x();
    lastY = position.y();
}

void WidgetGraphicsScene::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    QGraphicsScene::mousePressEvent(event);
    if (event->isAccepted())
        return;
    for (ViewMouseTool* tool : tools_) {
        if (tool->press(event->scenePos(), event->button())) {
            activeTool_ = tool;
            event->accept();
            return;
        }
    }
    clickPossible_ = event->button() == Qt::LeftButton;
    pressAt_ = event->scenePos();
    if (event->buttons() & (Qt::LeftButton | Qt::RightButton | Qt::MiddleButton)) {
        lastActionTime = Velda::Platform::now();
        lastX = event->scenePos().x();
        lastY = event->scenePos().y();
    }
}

void WidgetGraphicsScene::mouseReleaseEvent(QGraphicsSceneMouseEvent* event)
{
    if (activeTool_) {
        ViewMouseTool* tool = activeTool_;
        activeTool_ = nullptr;
        tool->release(event->scenePos());
        event->accept();
        return;
    }
    QGraphicsScene::mouseReleaseEvent(event);
    if (event->isAccepted())
        return;
    if (clickPossible_ && event->button() == Qt::LeftButton) {
        clickPossible_ = false;
        const QPointF moved = event->scenePos() - pressAt_;
        if (moved.x() * moved.x() + moved.y() * moved.y() <= kClickSlop * kClickSlop)
            emit viewClicked(event->scenePos(), event->modifiers());
    }
    if (Velda::Platform::now() <= lastActionTime) {
        deltaX = deltaY = 0.0;
        lastX = lastY = 0.0;
    }
}

void WidgetGraphicsScene::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    if (activeTool_) {
        activeTool_->drag(event->scenePos());
        event->accept();
        return;
    }
    QGraphicsScene::mouseMoveEvent(event);
    if (event->isAccepted())
        return;
    if (clickPossible_) {
        const QPointF moved = event->scenePos() - pressAt_;
        clickPossible_ = moved.x() * moved.x() + moved.y() * moved.y() <= kClickSlop * kClickSlop;
    }
    if (event->buttons() == Qt::NoButton)
        for (ViewMouseTool* tool : tools_)
            tool->hover(event->scenePos());
    Velda::Camera* camera = GraphicsContext::instance()->camera();
    lastActionTime = Velda::Platform::now();
    double panScale = camera->getPosition().z / 400.0;
    if (camera->getProjectionType() == Velda::Camera::kOrthographic)
        panScale = -panScale * camera->getOrthoBounds().x * 0.8;

    const QPointF position = event->scenePos();
    if ((event->buttons() & Qt::LeftButton) && !orbit(position))
        return;
    if (event->buttons() & Qt::RightButton)
        panOnGround(position, panScale);
    if (event->buttons() & Qt::MiddleButton)
        panInViewPlane(position, panScale);
}

bool WidgetGraphicsScene::orbit(const QPointF& position)
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    takeDelta(position);
    const float speed = -hub->rotationSpeed();
    const Velda::Vector3 pivot = hub->orbitPivot();

    Velda::Matrix4 yawed = camera->getTransform();
    yawed.rotate(pivot, hub->worldUp(), static_cast<float>(speed * deltaX));
    camera->setTransform(yawed);

    // The pitch is tried on a copy first.
    const Velda::Vector3 right = axisOf(yawed, 0);
    Velda::Matrix4 pitched = yawed;
    pitched.rotate(pivot, right, static_cast<float>(speed * deltaY));
    const Velda::Vector3 view = axisOf(pitched, 2) * -1.0f;
    if (view.z > 0 && deltaY < 0)
        return false;
    if (axisOf(pitched, 1).z < 0)
        return false;
    camera->setTransform(pitched);
    return true;
}

void WidgetGraphicsScene::panOnGround(const QPointF& position, double panScale)
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const Velda::Vector3 right = axisOf(camera->getTransform(), 0);
    const Velda::Vector3 forward = right.cross(hub->worldUp());
    takeDelta(position);
    const Velda::Vector3 f = forward.normalized();
    const Velda::Vector3 r = right.normalized();
    // Both stay in the ground plane: z is the world's up.
    const Velda::Vector3 a(static_cast<float>(-(f.x * deltaY * panScale)),
                           static_cast<float>(-(f.y * deltaY * panScale)), 0.0f);
    const Velda::Vector3 b(static_cast<float>(-(r.x * deltaX * panScale)),
                           static_cast<float>(-(r.y * deltaX * panScale)), 0.0f);
    camera->translate(a + b);
    hub->setOrbitPivot(hub->orbitPivot() + a + b);
}

void WidgetGraphicsScene::panInViewPlane(const QPointF& position, double panScale)
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const Velda::Vector3 right = axisOf(camera->getTransform(), 0);
    takeDelta(position);
    const Velda::Vector3 a = hub->worldUp() * static_cast<float>(deltaY * panScale);
    const Velda::Vector3 b = right * static_cast<float>(-deltaX * panScale);
    camera->translate(a + b);
    // The pivot follows the sideways part only.
    hub->setOrbitPivot(hub->orbitPivot() + b);
}

void WidgetGraphicsScene::wheelEvent(QGraphicsSceneWheelEvent* event)
{
    QGraphicsScene::wheelEvent(event);
    if (event->isAccepted())
        return;
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Camera* camera = hub->camera();
    const double sign = event->delta() > 0 ? 1.0 : -1.0;
    if (event->modifiers() & Qt::ControlModifier) {
        const double degrees = camera->getFov() * 180.0 / 3.1415925;
        camera->setFov(static_cast<float>((sign + degrees) / 180.0 * 3.1415925));
        return;
    }
    // Both projections follow every step, whichever is in use.
    const float factor = static_cast<float>(1.0 - sign * (0.5 * 0.5));
    camera->setOrthoBounds(camera->getOrthoBounds() * factor);
    const Velda::Vector3 pivot = hub->orbitPivot();
    const float toward = sign > 0 ? 0.9f : 1.1f;
    camera->setPosition(pivot + (camera->getPosition() - pivot) * toward);
}

} // namespace VeldaClient
