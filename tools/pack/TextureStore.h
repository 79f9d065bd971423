#pragma once

#include "PackScene.h"

#include <map>
#include <set>
#include <string>

namespace VeldaPack {

struct StoredTexture {
    std::string name;  // "texs/<file>", empty when the source could not be read
    bool alpha = false;
};

// Writes textures into a project's texs/ folder in the forms the viewer
// decodes: JPG at 24 bits, or PNG at 32 bits when the image has real alpha.
// A 24-bit image gets a width divisible by 4, so its row pitch is exactly
// width times 3. File names keep their stem (blanks and non-ASCII survive),
// minus what would confuse the viewer's address rules.
class TextureStore {
public:
    explicit TextureStore(const std::string& texsFolder);

    // Once per source; the same index gives the same answer.
    StoredTexture store(int index, const PackTexture& texture);
    size_t written() const { return written_; }
    size_t failed() const { return failed_; }

    // The stem made safe for the viewer: no separators, no "|", no ".lt",
    // and none of "index", "Cache", "SkyResources".
    static std::string safeStem(const std::string& name);

    static const unsigned kMaxSide = 8192;

private:
    std::string folder_;
    std::map<int, StoredTexture> done_;
    std::set<std::string> used_;
    size_t written_ = 0;
    size_t failed_ = 0;
};

} // namespace VeldaPack
