#pragma once

#include <algorithm>
#include <functional>
#include <utility>

namespace VeldaPack {

// How far packing has come, for a progress bar: the share of the whole job
// done (0 to 1) and the name of the step under way. A step hands a part of
// its own range to a step inside it. Without a sink it reports nothing.
class PackProgress {
public:
    using Sink = std::function<void(double share, const char* step)>;

    PackProgress() = default;
    explicit PackProgress(Sink sink) : sink_(std::move(sink)) {}

    // The part from `from` to `to` of this range (both 0 to 1).
    PackProgress part(double from, double to) const
    {
        PackProgress inner(*this);
        inner.from_ = from_ + (to_ - from_) * from;
        inner.to_ = from_ + (to_ - from_) * to;
        return inner;
    }

    // `fraction` (0 to 1) of this range done, in the named step.
    void operator()(double fraction, const char* step) const
    {
        if (sink_)
            sink_(from_ + (to_ - from_) * std::min(1.0, std::max(0.0, fraction)), step);
    }

private:
    Sink sink_;
    double from_ = 0.0, to_ = 1.0;
};

} // namespace VeldaPack
