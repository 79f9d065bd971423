#include "service/BcfPlaces.h"

namespace VeldaClient {

std::vector<BcfView> BcfPlaces::filledViews(SavedViewGallery* gallery)
{
    std::vector<BcfView> views;
    if (!gallery)
        return views;
    for (SavedViewSlot* place : gallery->viewSlots()) {
        if (!place->hasImage())
            continue;
        BcfView view;
        view.number = place->number();
        view.camera = place->camera();
        view.target = place->target();
        view.user = place->user();
        view.time = place->time();
        view.picture = place->picture();
        view.components = place->components();
        views.push_back(view);
    }
    return views;
}

BcfPlaces::Placement BcfPlaces::fillFreePlaces(SavedViewGallery* gallery, const std::vector<BcfView>& views, float lr,
                                               float tr)
{
    Placement placement;
    if (!gallery)
        return placement;
    auto next = views.begin();
    for (SavedViewSlot* place : gallery->viewSlots()) {
        if (next == views.end())
            break;
        if (place->hasImage())
            continue;
        const BcfView& view = *next++;
        place->setPicture(view.picture);
        place->setCamera(view.camera);
        place->setTarget(view.target);
        place->setLr(lr);
        place->setTr(tr);
        place->setUser(view.user);
        place->setQemidText(std::string());
        place->setTime(view.time);
        place->setMd5(std::string());
        place->setImg(std::string());
        place->setComponents(view.components);
        place->setChanged(true);
        ++placement.placed;
    }
    placement.left = static_cast<int>(views.end() - next);
    return placement;
}

} // namespace VeldaClient
