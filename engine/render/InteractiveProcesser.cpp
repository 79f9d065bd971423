#include "render/InteractiveProcesser.h"

#include "assets/AssetManager.h"
#include "assets/AssetTexture2D.h"
#include "render/Context3d.h"
#include "render/FrameContext.h"
#include "render/Texture2D.h"
#include "scene/Camera.h"

namespace Velda {

const char* const InteractiveProcesser::kRing = "SkyResources/img/光圈.png";
const char* const InteractiveProcesser::kInnerKnob = "SkyResources/img/光圈圆点-内环.png";
const char* const InteractiveProcesser::kInnerKnobHot = "SkyResources/img/光圈圆点-内环(划过).png";
const char* const InteractiveProcesser::kOuterKnob = "SkyResources/img/光圈圆点-外环.png";
const char* const InteractiveProcesser::kOuterKnobHot = "SkyResources/img/光圈圆点-外环(划过).png";

unsigned int InteractiveProcesser::imageTexture(const char* name)
{
    AssetManager* manager = AssetManager::instance();
    auto* image = manager ? dynamic_cast<AssetTexture2D*>(manager->load(name, Callback())) : nullptr;
    if (image && image->isReady() && image->texture())
        return image->texture()->name();
    return owner_->placeholderTexture->name();
}

void InteractiveProcesser::process(const RenderList&, const RenderList&, bool)
{
    const Vector4& viewport = owner_->frameContext->camera->getViewport();
    const float w = viewport.z;
    const float h = viewport.w;
    const float mx = owner_->dialMarginX;
    const float my = owner_->dialMarginY;
    const float x0 = w - (mx + 134.0f);
    const float y0 = h - (my + 134.0f);
    owner_->flatTex(static_cast<int>(imageTexture(kRing)), x0, y0, 134.0f, 134.0f, Matrix4());
    // The knobs start at the ring's corner and reach their place by a turn
    // about the ring's middle, so one rectangle serves at every angle.

    const Vector3 centre(w - (mx + 67.0f), h - (my + 67.0f), 0.0f);
    const auto knob = [&](float dx, float dy, float angle, bool hot, const char* hotImage, const char* image,
                          float side) {
        Matrix4 m;
        m.translate(dx, dy, 0.0f);
        m.rotate(centre, Vector3(0.0f, 0.0f, 1.0f), angle);
        owner_->flatTex(static_cast<int>(imageTexture(hot ? hotImage : image)), x0, y0, side, side, m);
    };
    // The hot flags are tested as floats against 0.
    knob(58.0f, 33.0f, owner_->azimuthAngle, static_cast<float>(owner_->innerDialHot) != 0.0f, kInnerKnobHot,
         kInnerKnob, 18.0f);
    knob(57.0f, 7.0f, owner_->timeAngle, static_cast<float>(owner_->outerDialHot) != 0.0f, kOuterKnobHot, kOuterKnob,
         20.0f);
}

} // namespace Velda
