#include "TextureStore.h"

#include "jobs/FileHelpers.h"

#include <FreeImage.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>

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

// An encoded source's format (from its bytes; for a file from its name when
// the bytes do not tell) and, when `wanted` takes that format, the source
// loaded with `flags`.
Bitmap loadEncoded(const PackTexture& t, int flags, FREE_IMAGE_FORMAT& format, bool (*wanted)(FREE_IMAGE_FORMAT))
{
    if (!t.bytes.empty()) {
        FIMEMORY* memory = FreeImage_OpenMemory(const_cast<BYTE*>(t.bytes.data()), static_cast<DWORD>(t.bytes.size()));
        format = FreeImage_GetFileTypeFromMemory(memory, 0);
        Bitmap b(wanted(format) ? FreeImage_LoadFromMemory(format, memory, flags) : nullptr);
        FreeImage_CloseMemory(memory);
        return b;
    }
    format = FreeImage_GetFileType(t.path.c_str(), 0);
    if (format == FIF_UNKNOWN)
        format = FreeImage_GetFIFFromFilename(t.path.c_str());
    return Bitmap(wanted(format) ? FreeImage_Load(format, t.path.c_str(), flags) : nullptr);
}

bool isKnown(FREE_IMAGE_FORMAT format)
{
    return format != FIF_UNKNOWN;
}

bool isJpgOrPng(FREE_IMAGE_FORMAT format)
{
    return format == FIF_JPEG || format == FIF_PNG;
}

Bitmap decode(const PackTexture& t)
{
    if (!t.bgra.empty() && t.width > 0 && t.height > 0)
        return Bitmap(FreeImage_ConvertFromRawBits(const_cast<BYTE*>(t.bgra.data()), t.width, t.height, t.width * 4, 32,
                                                   FI_RGBA_RED_MASK, FI_RGBA_GREEN_MASK, FI_RGBA_BLUE_MASK, TRUE));
    FREE_IMAGE_FORMAT format;
    return loadEncoded(t, 0, format, isKnown);
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
    Bitmap bitmap = decode(texture);
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

// An encoded source as the viewer would read it: its format and, from the
// header alone, its size and depth.
struct SourceHeader {
    FREE_IMAGE_FORMAT format = FIF_UNKNOWN;
    unsigned width = 0, height = 0, bpp = 0;
    bool transparent = false;
};

SourceHeader readHeader(const PackTexture& t)
{
    SourceHeader h;
    if (!t.bgra.empty())
        return h;  // drawn pixels: nothing to copy
    const Bitmap header = loadEncoded(t, FIF_LOAD_NOPIXELS, h.format, isJpgOrPng);
    if (header && FreeImage_GetImageType(header.get()) == FIT_BITMAP) {
        h.width = FreeImage_GetWidth(header.get());
        h.height = FreeImage_GetHeight(header.get());
        h.bpp = FreeImage_GetBPP(header.get());
        h.transparent = FreeImage_IsTransparent(header.get());
    }
    return h;
}

// Whether the viewer reads the source as it is: rows without padding
// (the upload gives no row length), a depth it uploads, a side it allows.
bool meetsTheRules(const SourceHeader& h)
{
    if ((h.format != FIF_JPEG && h.format != FIF_PNG) || h.width == 0 || h.height == 0 ||
        h.width > TextureStore::kMaxSide || h.height > TextureStore::kMaxSide)
        return false;
    if (h.bpp == 32)
        return h.format == FIF_PNG;
    // A 24-bit PNG with a transparent colour would lose it in the viewer.
    return h.bpp == 24 && !h.transparent && (h.width * 3) % 4 == 0;
}

bool copySource(const PackTexture& t, const std::string& path)
{
    if (!t.bytes.empty())
        return Velda::writeFile(path, t.bytes.data(), t.bytes.size());
    std::error_code ec;
    return std::filesystem::copy_file(t.path, path, ec) && !ec;
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

std::string TextureStore::reserveStem(const PackTexture& texture)
{
    const std::string base = safeStem(texture.name);
    std::string stem = base;
    for (int n = 2; used_.count(stem); ++n)
        stem = base + "_" + std::to_string(n);
    used_.insert(stem);
    return stem;
}

void TextureStore::storeAll(const std::vector<std::pair<int, const PackTexture*>>& textures)
{
    struct Work {
        int index;
        const PackTexture* texture;
        std::string stem;
        StoredTexture result;
    };
    std::vector<Work> work;
    for (const auto& t : textures)
        if (!done_.count(t.first) && std::none_of(work.begin(), work.end(), [&](const Work& w) { return w.index == t.first; }))
            work.push_back({t.first, t.second, reserveStem(*t.second), StoredTexture()});

    std::atomic<size_t> next{0}, copies{0};
    auto worker = [&] {
        for (size_t i = next++; i < work.size(); i = next++) {
            Work& w = work[i];
            const SourceHeader header = readHeader(*w.texture);
            if (meetsTheRules(header)) {
                const std::string file = w.stem + (header.format == FIF_PNG ? ".png" : ".jpg");
                if (copySource(*w.texture, folder_ + "/" + file)) {
                    w.result.name = "texs/" + file;
                    w.result.alpha = header.bpp == 32;
                    ++copies;
                }
                continue;
            }
            bool alpha = false;
            Bitmap bitmap = prepared(*w.texture, alpha);
            const std::string file = w.stem + (alpha ? ".png" : ".jpg");
            const std::string path = folder_ + "/" + file;
            if (bitmap && (alpha ? FreeImage_Save(FIF_PNG, bitmap.get(), path.c_str(), PNG_DEFAULT)
                                 : FreeImage_Save(FIF_JPEG, bitmap.get(), path.c_str(), 90))) {
                w.result.name = "texs/" + file;
                w.result.alpha = alpha;
            }
        }
    };
    const size_t threads = std::min<size_t>(work.size(), std::max(1u, std::thread::hardware_concurrency()));
    std::vector<std::thread> pool;
    for (size_t i = 1; i < threads; ++i)
        pool.emplace_back(worker);
    worker();
    for (std::thread& t : pool)
        t.join();

    for (const Work& w : work) {
        done_[w.index] = w.result;
        ++(w.result.name.empty() ? failed_ : written_);
    }
    copied_ += copies;
}

StoredTexture TextureStore::store(int index, const PackTexture& texture)
{
    if (!done_.count(index))
        storeAll({{index, &texture}});
    return done_[index];
}

} // namespace VeldaPack
