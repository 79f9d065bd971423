#include "UserInterface/Widgets/ViewPicker.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/ViewContext.h"
#include "assets/AssetManager.h"
#include "render/Context3d.h"

#include <cmath>

namespace VeldaClient {

namespace {

// Before the renderer has its GL side there is nothing to pick.
bool renderable()
{
    Velda::Context3d* context3d = GraphicsContext::instance()->context3d();
    return context3d && context3d->initialized() && Velda::AssetManager::instance();
}

} // namespace

Velda::PickHit ViewPicker::pick(const QPointF& at)
{
    return snap(at, 0);
}

Velda::PickHit ViewPicker::snap(const QPointF& at, int radius)
{
    if (!renderable())
        return Velda::PickHit();
    ViewContext context(scene_);
    if (!context.ready())
        return Velda::PickHit();
    GraphicsContext* hub = GraphicsContext::instance();
    if (!pass_)
        pass_.reset(new Velda::PickPass(hub->context3d()));
    const int x = static_cast<int>(std::floor(at.x())), y = static_cast<int>(std::floor(at.y()));
    if (radius <= 0)
        return pass_->pick(hub->scene(), hub->camera(), x, y, context.frameBuffer());
    return pass_->snap(hub->scene(), hub->camera(), x, y, radius, context.frameBuffer());
}

} // namespace VeldaClient
