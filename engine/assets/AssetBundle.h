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

    // Fetches, then inflates the file and parses its documents into child
    // assets that wait, unseen, for finish(). Worker thread.
    void run() override;
    // Hands the parsed children their callbacks and their GL half, in the
    // order of the file. GUI thread.
    void finish() override;
    // False as soon as one child is not ready; otherwise whether finish ran.
    bool isReady() const override;
    void freeData() override;

    const std::vector<Asset*>& children() const { return children_; }
    // Ready children over all children (or over the documents the file
    // declares, if more); 0 without children.
    double readyFraction() const;

protected:
    // Inflates and parses what run() fetched into unpacked_.
    void unpack();

    std::vector<Asset*> children_;
    // Parsed on the worker; only finish() moves them into children_, so the
    // GUI thread never reads what the worker writes.
    std::vector<Asset*> unpacked_;
    enum class Unpacked { kNotYet, kNothingFetched, kFailed, kIncomplete, kWhole };
    Unpacked unpacked_state_ = Unpacked::kNotYet;
    std::string unpackError_;
    size_t unpackDeclared_ = 0;
    size_t declared_ = 0;
    Context3d* renderer_;
};

} // namespace Velda
