#pragma once

#include "service/BcfView.h"
#include "service/SavedViewSlot.h"

#include <vector>

namespace VeldaClient {

// Between the gallery's places and the views a BCF file carries.
class BcfPlaces {
public:
    struct Placement {
        int placed = 0;
        int left = 0;  // no free place was left for them
    };

    // The views of the filled places, in number order.
    static std::vector<BcfView> filledViews(SavedViewGallery* gallery);
    // Puts the views into the free places in number order, with the sun as
    // the dial stands (`lr`, `tr`); each place counts as changed, so that
    // the next save uploads it.
    static Placement fillFreePlaces(SavedViewGallery* gallery, const std::vector<BcfView>& views, float lr, float tr);
};

} // namespace VeldaClient
