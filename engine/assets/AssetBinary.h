#pragma once

#include "assets/Asset.h"

namespace Velda {

// A raw file with no interpretation: the two index files.
class AssetBinary : public Asset {
public:
    explicit AssetBinary(const std::string& url);

    void finish() override;
    bool isReady() const override { return ready_; }
    void freeData() override;

    // The fetched bytes (never null after run) and their size.
    const unsigned char* data() const;
    uint32_t dataSize() const;
};

} // namespace Velda
