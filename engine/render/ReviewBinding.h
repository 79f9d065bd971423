#pragma once

namespace Velda {

class Context3d;
class ShaderProgram;
struct RenderItem;

// Points a program made with the review tools' switch at their state for
// one item: the per-object table, the section box and the object index (a
// batch's array, or the item's own value). Lives around one draw: the
// array it switched on is switched off again, so that no later program
// reads it by chance. Does nothing for an item without the switch.
class ReviewBinding {
public:
    ReviewBinding(ShaderProgram& program, const RenderItem& item, const Context3d& owner);
    ~ReviewBinding();
    ReviewBinding(const ReviewBinding&) = delete;
    ReviewBinding& operator=(const ReviewBinding&) = delete;

private:
    int arrayLocation_ = -1;
};

} // namespace Velda
