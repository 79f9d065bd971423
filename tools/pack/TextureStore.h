#pragma once

#include "PackScene.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace VeldaPack {

struct StoredTexture {
    std::string name;  // "texs/<file>", empty when the source could not be read
    bool alpha = false;
};

// Writes textures into a project's texs/ folder in the forms the viewer
// decodes. A source that meets the viewer's rules already (JPG or PNG of 24
// or 32 bits whose row pitch is width times bytes per pixel, at most
// kMaxSide a side) is copied byte for byte; a 32-bit PNG counts as having
// alpha. Any other is converted: JPG at 24 bits, or PNG at 32 bits when the
// image has real alpha, a 24-bit image with a width divisible by 4.
// Conversions run on all cores. File names keep their stem (blanks and
// non-ASCII survive), minus what would confuse the viewer's address rules;
// stems are unique whatever the extension.
class TextureStore {
public:
    explicit TextureStore(const std::string& texsFolder);

    // Writes several sources at once, in parallel; names are given in the
    // order of the list, so the result does not depend on timing.
    void storeAll(const std::vector<std::pair<int, const PackTexture*>>& textures);
    // Once per source; the same index gives the same answer.
    StoredTexture store(int index, const PackTexture& texture);
    size_t copied() const { return copied_; }
    size_t written() const { return written_; }
    size_t failed() const { return failed_; }

    // The stem made safe for the viewer: no separators, no "|", no ".lt",
    // and none of "index", "Cache", "SkyResources".
    static std::string safeStem(const std::string& name);

    static const unsigned kMaxSide = 8192;

private:
    // The unique stem for a source, in order of request.
    std::string reserveStem(const PackTexture& texture);

    std::string folder_;
    std::map<int, StoredTexture> done_;
    std::set<std::string> used_;
    size_t written_ = 0;
    size_t failed_ = 0;
    size_t copied_ = 0;
};

} // namespace VeldaPack
