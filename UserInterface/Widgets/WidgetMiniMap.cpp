#include "UserInterface/Widgets/WidgetMiniMap.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/CameraFlight.h"
#include "UserInterface/Widgets/FlightTimer.h"
#include "render/Context3d.h"
#include "scene/SceneRoot.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QPointer>

#include <memory>

namespace VeldaClient {

WidgetMiniMap::WidgetMiniMap(QWidget* parent) : QFrame(parent), framing_(120, 80)
{
    initializeControls();
}

WidgetMiniMap::~WidgetMiniMap()
{
    // The window makes its GL context current before it is torn down.
    if (texture_ != static_cast<GLuint>(-1))
        glDeleteTextures(1, &texture_);
}

void WidgetMiniMap::initializeControls()
{
    setFixedHeight(mapHeight);
    setFixedWidth(mapWidth);
    focusLabel = new QLabel(this);
    focusLabel->setPixmap(QPixmap(":/Images/focus-center.png"));
    focusLabel->setFixedSize(2 * Velda::MiniMapFraming::kMarkerHalf, 2 * Velda::MiniMapFraming::kMarkerHalf);
    QPointer<WidgetMiniMap> self(this);
    GraphicsContext::instance()->addPivotListener([self](Velda::Vector3 pivot) {
        if (self)
            self->placeMarker(pivot);
    });
    setObjectName("MiniMap");
    // The specified path keeps the specified start view, for comparison.
    if (GraphicsContext::instance()->context3d()->faithful)
        framing_.setStartView(Velda::MiniMapFraming::StartView::Specified);
}

void WidgetMiniMap::placeMarker(const Velda::Vector3& pivot)
{
    if (GraphicsContext::instance()->isInitializing())
        return;
    int x = 0, y = 0;
    framing_.markerPosition(pivot, x, y);
    focusLabel->move(x, y);
}

GLuint WidgetMiniMap::texture()
{
    if (texture_ == static_cast<GLuint>(-1)) {
        glGenTextures(1, &texture_);
        glBindTexture(GL_TEXTURE_2D, texture_);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 2 * mapWidth, 2 * mapHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    }
    return texture_;
}

Velda::Camera WidgetMiniMap::frameCamera()
{
    GraphicsContext* hub = GraphicsContext::instance();
    Velda::Vector3 pivot = hub->orbitPivot();
    if (framing_.update(hub->scene()->bounds(), *hub->camera(), pivot, hub->worldUp()))
        hub->setOrbitPivot(pivot);
    return framing_.mapCamera();
}

Velda::Vector3 WidgetMiniMap::groundPoint(const QPointF& position)
{
    const double nx = position.x() / width() * 2.0 - 1.0;
    const double ny = (1.0 - position.y() / height()) * 2.0 - 1.0;
    Velda::Camera map = framing_.mapCamera();
    const Velda::Matrix4 viewProjection = map.getProjection() * map.getInverseTransform();
    const Velda::Vector4 p = viewProjection.inverse().transformVector4(
        Velda::Vector4(static_cast<float>(nx), static_cast<float>(ny), 0.0f, 1.0f));
    return Velda::Vector3(p.x / p.w, p.y / p.w, 0.0f);
}

void WidgetMiniMap::mouseDoubleClickEvent(QMouseEvent* event)
{
    GraphicsContext* hub = GraphicsContext::instance();
    const Velda::Vector3 g = groundPoint(event->localPos());
    const Velda::Vector3 pivot = hub->orbitPivot();
    const Velda::Vector3 position = hub->camera()->getPosition();
    auto route = std::make_shared<CameraFlight>(position, pivot, position + (g - pivot), g);
    // No guard: a second double click flies beside the first.
    FlightTimer* flight = new FlightTimer([route](int) { route->step(); }, FlightTimer::Going(), this);
    connect(flight, &FlightTimer::finished, flight, &QObject::deleteLater);
    flight->start();
    hub->setOrbitPivot(g);
}

void WidgetMiniMap::resizeEvent(QResizeEvent* event)
{
    focusLabel->move(static_cast<int>(width() * 0.5 - Velda::MiniMapFraming::kMarkerHalf),
                     static_cast<int>(height() * 0.5 - Velda::MiniMapFraming::kMarkerHalf));
    QFrame::resizeEvent(event);
}

void WidgetMiniMap::mousePressEvent(QMouseEvent*) {}

void WidgetMiniMap::mouseReleaseEvent(QMouseEvent*) {}

void WidgetMiniMap::mouseMoveEvent(QMouseEvent*) {}

} // namespace VeldaClient
