#pragma once

#include "assets/Asset.h"

#include <memory>

namespace Velda {

class Geometry;

// One mesh out of a bundle; it downloads nothing on its own.
class AssetMesh : public Asset {
public:
    AssetMesh(const std::string& url, Context3d* renderer);
    ~AssetMesh() override;

    void run() override {}
    // Reads the document handed over with setJobData into the geometry's
    // CPU arrays; no GL. The bundle's worker half calls it.
    void parse();
    // Parses what is still handed over, uploads the arrays, then runs the
    // callbacks. GL thread.
    void finish() override;
    bool isReady() const override { return ready_; }
    void freeData() override;

    Geometry* geometry() const { return geometry_.get(); }
    int32_t id() const { return id_; }
    void setGeometry(Geometry* geometry, int32_t id);

private:
    std::unique_ptr<Geometry> geometry_;
    int32_t id_ = -1;
};

} // namespace Velda
