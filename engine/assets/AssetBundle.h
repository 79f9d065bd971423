#pragma once

#include "assets/Asset.h"

#include <vector>

namespace Velda {

// A mesh (.me) or material (.mt) file: a pack of documents that unpacks on
// arrival into child assets addressed "<path>?Id=<i>". Callbacks registered
// on the bundle run once per child, with the child.
class AssetBundle : public Asset {
public:
    AssetBundle(const std::string& url, Context3d* renderer);
    ~AssetBundle() override;

    void finish() override;
    // False as soon as one child is not ready; otherwise whether finish ran.
    bool isReady() const override;
    void freeData() override;

    const std::vector<Asset*>& children() const { return children_; }
    // Ready children over all children (or over the documents the file
    // declares, if more); 0 without children.
    double readyFraction() const;

protected:
    std::vector<Asset*> children_;
    size_t declared_ = 0;
    Context3d* renderer_;
};

} // namespace Velda
