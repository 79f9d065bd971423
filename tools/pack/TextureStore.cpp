#include "TextureStore.h"

#include <FreeImage.h>

#include <algorithm>
#include <memory>

namespace VeldaPack {

namespace {

struct Unloader {
    void operator()(FIBITMAP* b) const { FreeImage_Unload(b); }
};
using Bitmap = std::unique_ptr<FIBITMAP, Unloader>;

void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

FIBITMAP* decode(const PackTexture& t)
{
    if (!t.bgra.empty() && t.width > 0 && t.height > 0)
        return FreeImage_ConvertFromRawBits(const_cast<BYTE*>(t.bgra.data()), t.width, t.height, t.width * 4, 32,
                                            FI_RGBA_RED_MASK, FI_RGBA_GREEN_MASK, FI_RGBA_BLUE_MASK, TRUE);
    if (!t.bytes.empty()) {
        FIMEMORY* memory = FreeImage_OpenMemory(const_cast<BYTE*>(t.bytes.data()), static_cast<DWORD>(t.bytes.size()));
        const FREE_IMAGE_FORMAT format = FreeImage_GetFileTypeFromMemory(memory, 0);
        FIBITMAP* b = format == FIF_UNKNOWN ? nullptr : FreeImage_LoadFromMemory(format, memory, 0);
        FreeImage_CloseMemory(memory);
        return b;
    }
    FREE_IMAGE_FORMAT format = FreeImage_GetFileType(t.path.c_str(), 0);
    if (format == FIF_UNKNOWN)
        format = FreeImage_GetFIFFromFilename(t.path.c_str());
    return format == FIF_UNKNOWN ? nullptr : FreeImage_Load(format, t.path.c_str(), 0);
}

bool anyTranslucent(FIBITMAP* rgba)
{
    const unsigned w = FreeImage_GetWidth(rgba), h = FreeImage_GetHeight(rgba);
    for (unsigned y = 0; y < h; ++y) {
        const BYTE* row = FreeImage_GetScanLine(rgba, static_cast<int>(y));
        for (unsigned x = 0; x < w; ++x)
            if (row[4 * x + FI_RGBA_ALPHA] != 255)
                return true;
    }
    return false;
}

// The image at 32 bits if it has real alpha, else at 24; converted once.
Bitmap standardDepth(Bitmap bitmap, bool& alpha)
{
    alpha = false;
    if (FreeImage_IsTransparent(bitmap.get()) || FreeImage_GetBPP(bitmap.get()) == 32) {
        Bitmap rgba(FreeImage_ConvertTo32Bits(bitmap.get()));
        if (rgba && anyTranslucent(rgba.get())) {
            alpha = true;
            return rgba;
        }
    }
    return Bitmap(FreeImage_ConvertTo24Bits(bitmap.get()));
}

// Decoded, at 24 or 32 bits, at most kMaxSide a side, and without alpha a
// width divisible by 4; null when the source cannot be read.
Bitmap prepared(const PackTexture& texture, bool& alpha)
{
    Bitmap bitmap(decode(texture));
    if (bitmap && FreeImage_GetImageType(bitmap.get()) != FIT_BITMAP)
        bitmap.reset(FreeImage_ConvertToType(bitmap.get(), FIT_BITMAP, TRUE));
    if (!bitmap || FreeImage_GetWidth(bitmap.get()) == 0 || FreeImage_GetHeight(bitmap.get()) == 0)
        return nullptr;
    bitmap = standardDepth(std::move(bitmap), alpha);
    if (!bitmap)
        return nullptr;
    unsigned w = FreeImage_GetWidth(bitmap.get()), h = FreeImage_GetHeight(bitmap.get());
    const unsigned side = TextureStore::kMaxSide;
    if (w > side || h > side) {
        const double f = static_cast<double>(side) / std::max(w, h);
        w = std::max(1u, static_cast<unsigned>(w * f));
        h = std::max(1u, static_cast<unsigned>(h * f));
    }
    if (!alpha && w % 4 != 0)
        w += 4 - w % 4;
    if (w != FreeImage_GetWidth(bitmap.get()) || h != FreeImage_GetHeight(bitmap.get()))
        bitmap.reset(FreeImage_Rescale(bitmap.get(), static_cast<int>(w), static_cast<int>(h), FILTER_BILINEAR));
    return bitmap;
}

} // namespace

TextureStore::TextureStore(const std::string& texsFolder) : folder_(texsFolder)
{
    FreeImage_Initialise(FALSE);
}

std::string TextureStore::safeStem(const std::string& name)
{
    std::string stem = name;
    const size_t slash = stem.find_last_of("/\\");
    if (slash != std::string::npos)
        stem = stem.substr(slash + 1);
    const size_t dot = stem.rfind('.');
    if (dot != std::string::npos && dot > 0)
        stem = stem.substr(0, dot);
    for (char& c : stem)
        if (static_cast<unsigned char>(c) < 0x20 || c == '|' || c == ':' || c == '*' || c == '?' || c == '"' ||
            c == '<' || c == '>')
            c = '_';
    replaceAll(stem, ".lt", "_lt");
    replaceAll(stem, "index", "ind_ex");
    replaceAll(stem, "Cache", "Cach_e");
    replaceAll(stem, "SkyResources", "Sky_Resources");
    if (stem.empty() || stem == "." || stem == "..")
        stem = "texture";
    return stem;
}

StoredTexture TextureStore::store(int index, const PackTexture& texture)
{
    const auto known = done_.find(index);
    if (known != done_.end())
        return known->second;
    StoredTexture& result = done_[index];
    bool alpha = false;
    Bitmap bitmap = prepared(texture, alpha);
    const std::string stem = safeStem(texture.name);
    const std::string extension = alpha ? ".png" : ".jpg";
    std::string file = stem + extension;
    for (int n = 2; used_.count(file); ++n)
        file = stem + "_" + std::to_string(n) + extension;
    const std::string path = folder_ + "/" + file;
    const bool saved = bitmap && (alpha ? FreeImage_Save(FIF_PNG, bitmap.get(), path.c_str(), PNG_DEFAULT)
                                        : FreeImage_Save(FIF_JPEG, bitmap.get(), path.c_str(), 90));
    if (!saved) {
        ++failed_;
        return result;
    }
    used_.insert(file);
    ++written_;
    result.name = "texs/" + file;
    result.alpha = alpha;
    return result;
}

} // namespace VeldaPack
