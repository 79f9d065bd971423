#include "formats/PackedData.h"

#include <cstring>
#include <stdexcept>

#include <zlib.h>

namespace Velda {

namespace {

uint32_t readU32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

void setError(std::string* error, const std::string& text)
{
    if (error)
        *error = text;
}

// zlib cannot expand by more than about 1032 to 1.
const uint64_t kMaxInflateRatio = 1032;
const uint64_t kInflateSlack = 4096;

void putU32(std::vector<unsigned char>& out, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out[at + i] = static_cast<unsigned char>((v >> (8 * i)) & 0xFF);
}

// Header bytes, then the zlib stream of `plain`.
std::vector<unsigned char> packed(size_t headerSize, const std::vector<unsigned char>& plain)
{
    if (plain.size() > UINT32_MAX)
        throw std::length_error("packed content larger than 4 GiB");
    uLongf bound = compressBound(static_cast<uLong>(plain.size()));
    std::vector<unsigned char> out(headerSize + bound);
    if (compress2(out.data() + headerSize, &bound, plain.data(), static_cast<uLong>(plain.size()), 6) != Z_OK)
        throw std::runtime_error("zlib compression failed");
    out.resize(headerSize + bound);
    return out;
}

} // namespace

std::vector<unsigned char> packIndex(const VeldaDocNode& root)
{
    const std::vector<unsigned char> plain = writeDocumentClear(root);
    std::vector<unsigned char> out = packed(kIndexHeaderSize, plain);
    putU32(out, 0, static_cast<uint32_t>(plain.size()));
    return out;
}

std::vector<unsigned char> packIndexBytes(const std::vector<unsigned char>& plain)
{
    std::vector<unsigned char> out = packed(kIndexHeaderSize, plain);
    putU32(out, 0, static_cast<uint32_t>(plain.size()));
    return out;
}

std::vector<unsigned char> packBundle(const std::vector<const VeldaDocNode*>& documents)
{
    std::vector<unsigned char> plain;
    for (const VeldaDocNode* d : documents) {
        const std::vector<unsigned char> one = writeDocumentClear(*d);
        plain.insert(plain.end(), one.begin(), one.end());
    }
    return packBundleBytes(documents.size(), plain);
}

std::vector<unsigned char> packBundleBytes(size_t documents, const std::vector<unsigned char>& plain)
{
    if (documents > 32767)
        throw std::length_error("more than 32767 documents in one bundle");
    std::vector<unsigned char> out = packed(kBundleHeaderSize, plain);
    out[0] = static_cast<unsigned char>(documents & 0xFF);
    out[1] = static_cast<unsigned char>(documents >> 8);
    out[2] = out[3] = 0;
    putU32(out, 4, static_cast<uint32_t>(plain.size()));
    return out;
}

bool inflateDeclared(const unsigned char* stream, size_t streamSize, uint32_t declaredSize, Inflated& out,
                     std::string* error)
{
    out.bytes.reset();
    out.size = 0;
    out.produced = 0;
    if (static_cast<uint64_t>(declaredSize) > static_cast<uint64_t>(streamSize) * kMaxInflateRatio + kInflateSlack) {
        setError(error, "declared size " + std::to_string(declaredSize) + " cannot come from " +
                            std::to_string(streamSize) + " compressed bytes");
        return false;
    }
    // Not zero-filled: only the produced bytes are ever read.
    out.bytes.reset(new unsigned char[declaredSize ? declaredSize : 1]);
    out.size = declaredSize;
    if (declaredSize == 0 || streamSize == 0)
        return true;
    uLongf produced = declaredSize;
    uLong consumed = static_cast<uLong>(streamSize);
    uncompress2(out.bytes.get(), &produced, stream, &consumed);
    out.produced = produced <= declaredSize ? produced : 0;
    return true;
}

bool readBundleHeader(const unsigned char* file, size_t size, BundleHeader& header)
{
    if (!file || size < kBundleHeaderSize)
        return false;
    header.documents = static_cast<int16_t>(static_cast<uint16_t>(file[0] | (file[1] << 8)));
    header.uncompressedSize = readU32(file + 4);
    return true;
}

int unpackBundle(const unsigned char* file, size_t size, const BundleVisitor& visit, std::string* error)
{
    BundleHeader header;
    if (!readBundleHeader(file, size, header)) {
        setError(error, "bundle shorter than its 8-byte header");
        return -1;
    }
    Inflated inflated;
    if (!inflateDeclared(file + kBundleHeaderSize, size - kBundleHeaderSize, header.uncompressedSize, inflated,
                         error))
        return -1;

    int handed = 0;
    uint32_t place = 0;
    for (int16_t i = 0; i < header.documents; ++i) {
        uint32_t consumed = static_cast<uint32_t>(inflated.produced) - place;
        std::string why;
        std::unique_ptr<VeldaDocNode> root(parseDocument(inflated.bytes.get() + place, consumed, &why));
        if (!root) {
            setError(error, "document " + std::to_string(i) + ": " + why);
            break;
        }
        place += consumed;
        visit(i, std::move(root), consumed);
        ++handed;
    }
    return handed;
}

} // namespace Velda
