#pragma once

#include "scene/AABB3.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velda {

// What the review tools change in the picture: the selected objects, the
// hidden ones and the section box. Objects are the scene's meshes by their
// 1-based place in its list (0 is nothing). Two counters tell the renderer
// what changed, so that it uploads its per-object table and redraws the
// shadow map only then.
class ReviewState {
public:
    // Replaces the selection; 0 and repeats are dropped.
    void select(const std::vector<uint32_t>& objects);
    void clearSelection() { select({}); }
    const std::vector<uint32_t>& selection() const { return selection_; }
    bool selected(uint32_t object) const;

    void hide(const std::vector<uint32_t>& objects);
    // Hides every one of the `count` objects but these.
    void isolate(const std::vector<uint32_t>& objects, size_t count);
    void showAll();
    bool hidden(uint32_t object) const { return object < hidden_.size() && hidden_[object] != 0; }
    size_t hiddenCount() const { return hiddenCount_; }

    // The box in scene units; what lies outside it is cut away.
    void setSection(const AABB3& box);
    void clearSection();
    bool sectioned() const { return sectioned_; }
    const AABB3& section() const { return section_; }

    // Whether anything differs from the plain picture.
    bool active() const { return !selection_.empty() || hiddenCount_ > 0 || sectioned_; }
    // Grows with every change.
    uint64_t version() const { return version_; }
    // Grows with every change of what is drawn at all (hidden, section).
    uint64_t visibilityVersion() const { return visibilityVersion_; }

private:
    void visibilityChanged();

    std::vector<uint32_t> selection_;
    std::vector<uint8_t> hidden_;  // by object, 1 hidden
    size_t hiddenCount_ = 0;
    AABB3 section_;
    bool sectioned_ = false;
    uint64_t version_ = 0;
    uint64_t visibilityVersion_ = 0;
};

} // namespace Velda
