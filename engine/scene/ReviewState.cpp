#include "scene/ReviewState.h"

#include <algorithm>

namespace Velda {

void ReviewState::select(const std::vector<uint32_t>& objects)
{
    std::vector<uint32_t> chosen;
    for (uint32_t object : objects)
        if (object != 0 && std::find(chosen.begin(), chosen.end(), object) == chosen.end())
            chosen.push_back(object);
    if (chosen == selection_)
        return;
    selection_ = std::move(chosen);
    ++version_;
}

bool ReviewState::selected(uint32_t object) const
{
    return std::find(selection_.begin(), selection_.end(), object) != selection_.end();
}

void ReviewState::hide(const std::vector<uint32_t>& objects)
{
    bool changed = false;
    for (uint32_t object : objects) {
        if (object == 0 || hidden(object))
            continue;
        if (object >= hidden_.size())
            hidden_.resize(static_cast<size_t>(object) + 1, 0);
        hidden_[object] = 1;
        ++hiddenCount_;
        changed = true;
    }
    if (changed)
        visibilityChanged();
}

void ReviewState::isolate(const std::vector<uint32_t>& objects, size_t count)
{
    std::vector<uint8_t> hidden(count + 1, 1);
    hidden[0] = 0;
    for (uint32_t object : objects)
        if (object <= count)
            hidden[object] = 0;
    hidden_.swap(hidden);
    hiddenCount_ = static_cast<size_t>(std::count(hidden_.begin(), hidden_.end(), uint8_t(1)));
    visibilityChanged();
}

void ReviewState::showAll()
{
    if (hiddenCount_ == 0)
        return;
    hidden_.clear();
    hiddenCount_ = 0;
    visibilityChanged();
}

void ReviewState::setSection(const AABB3& box)
{
    if (sectioned_ && box.getMin() == section_.getMin() && box.getMax() == section_.getMax())
        return;
    section_ = box;
    sectioned_ = true;
    visibilityChanged();
}

void ReviewState::clearSection()
{
    if (!sectioned_)
        return;
    sectioned_ = false;
    visibilityChanged();
}

void ReviewState::visibilityChanged()
{
    ++version_;
    ++visibilityVersion_;
}

} // namespace Velda
