#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Velda {

namespace {

// A cursor that never moves past its end. Every read says whether it fit.
class Reader {
public:
    Reader(const unsigned char* p, uint32_t size) : begin_(p), p_(p), end_(p + size) {}

    uint64_t left() const { return static_cast<uint64_t>(end_ - p_); }
    uint32_t offset() const { return static_cast<uint32_t>(p_ - begin_); }
    const unsigned char* here() const { return p_; }

    bool need(uint64_t n, const char* what)
    {
        if (n <= left())
            return true;
        if (error.empty())
            error = std::string("document truncated: ") + what + " needs " + std::to_string(n) +
                    " bytes at offset " + std::to_string(offset()) + ", " + std::to_string(left()) + " left";
        return false;
    }
    bool u8(uint8_t& v, const char* what)
    {
        if (!need(1, what))
            return false;
        v = *p_++;
        return true;
    }
    bool u16(uint16_t& v, const char* what)
    {
        if (!need(2, what))
            return false;
        v = static_cast<uint16_t>(p_[0] | (p_[1] << 8));
        p_ += 2;
        return true;
    }
    bool u32(uint32_t& v, const char* what)
    {
        if (!need(4, what))
            return false;
        v = static_cast<uint32_t>(p_[0]) | (static_cast<uint32_t>(p_[1]) << 8) |
            (static_cast<uint32_t>(p_[2]) << 16) | (static_cast<uint32_t>(p_[3]) << 24);
        p_ += 4;
        return true;
    }
    void skip(uint64_t n) { p_ += n; }

    std::string error;

private:
    const unsigned char* begin_;
    const unsigned char* p_;
    const unsigned char* end_;
};

// Text up to the first NUL of a length-prefixed span.
std::wstring decodeCut(const unsigned char* p, size_t n)
{
    const void* nul = std::memchr(p, 0, n);
    const size_t used = nul ? static_cast<size_t>(static_cast<const unsigned char*>(nul) - p) : n;
    return utf8ToWide(reinterpret_cast<const char*>(p), used);
}

bool copyRaw(VeldaDocNode& node, const unsigned char* from, uint64_t size)
{
    node.dataSize = static_cast<uint32_t>(size);
    if (size == 0)
        return true;
    node.data = static_cast<unsigned char*>(std::malloc(size));
    if (!node.data)
        return false;
    std::memcpy(node.data, from, size);
    return true;
}

uint32_t fixedPayloadSize(int32_t tag)
{
    switch (tag) {
    case kTagByte: return 1;
    case kTagInt16: case kTagUInt16: return 2;
    case kTagInt32: case kTagUInt32: case kTagFloat: return 4;
    case kTagFloat2: return 8;
    case kTagFloat3: return 12;
    case kTagFloat4: return 16;
    case kTagFloat12: return 48;
    default: return 0;
    }
}

uint32_t arrayElementSize(int32_t tag)
{
    switch (tag) {
    case kTagUInt16Array: case kTagInt16Array: return 2;
    case kTagUInt32Array: case kTagInt32Array: case kTagFloatArray: return 4;
    case kTagByteArray: return 1;
    case kTagFloat3Array: return 12;
    default: return 0;
    }
}

bool readStringArray(Reader& in, VeldaDocNode& node)
{
    uint32_t n = 0;
    if (!in.u32(n, "string array count"))
        return false;
    // Every entry takes at least its two length bytes.
    if (!in.need(2ull * n, "string array entries"))
        return false;
    const unsigned char* first = in.here();
    node.count = n;
    if (n)
        node.strings = new std::wstring[n];
    for (uint32_t i = 0; i < n; ++i) {
        uint16_t len = 0;
        if (!in.u16(len, "string array entry length") || !in.need(len, "string array entry"))
            return false;
        node.strings[i] = decodeCut(in.here(), len);
        in.skip(len);
    }
    return copyRaw(node, first, static_cast<uint64_t>(in.here() - first));
}

bool readPayload(Reader& in, VeldaDocNode& node)
{
    const int32_t tag = node.type;
    if (tag == kTagNone || tag == kTagReserved19 || tag == kTagReserved20 || tag > kTagFloat3Array)
        return true;
    if (tag == kTagString) {
        uint16_t len = 0;
        if (!in.u16(len, "string length") || !in.need(len, "string"))
            return false;
        node.strings = new std::wstring(decodeCut(in.here(), len));
        const bool ok = copyRaw(node, in.here() - 2, 2u + len);
        in.skip(len);
        return ok;
    }
    if (tag == kTagStringArray)
        return readStringArray(in, node);
    if (const uint32_t fixed = fixedPayloadSize(tag)) {
        if (!in.need(fixed, "value"))
            return false;
        const bool ok = copyRaw(node, in.here(), fixed);
        in.skip(fixed);
        return ok;
    }
    const uint32_t element = arrayElementSize(tag);
    uint32_t n = 0;
    if (!in.u32(n, "array count"))
        return false;
    const uint64_t bytes = static_cast<uint64_t>(element) * n;
    if (!in.need(bytes, "array"))
        return false;
    node.count = n;
    const bool ok = copyRaw(node, in.here(), bytes);
    in.skip(bytes);
    return ok;
}

// Reads one node up to and including its child count; the children follow.
VeldaDocNode* readNodeHead(Reader& in, uint16_t& childCount)
{
    std::unique_ptr<VeldaDocNode> node(new VeldaDocNode());
    uint16_t nameLength = 0;
    if (!in.u16(nameLength, "name length") || !in.need(nameLength, "name"))
        return nullptr;
    if (nameLength) {
        node->name = decodeCut(in.here(), nameLength);
        in.skip(nameLength);
    }
    uint8_t tag = 0;
    if (!in.u8(tag, "type tag"))
        return nullptr;
    node->type = tag;
    if (!readPayload(in, *node)) {
        if (in.error.empty())
            in.error = "out of memory for a value";
        return nullptr;
    }
    if (!in.u16(childCount, "child count"))
        return nullptr;
    return node.release();
}

} // namespace

VeldaDocNode* parseDocument(const unsigned char* data, uint32_t& size, std::string* error)
{
    if (!data) {
        if (error)
            *error = "no data";
        return nullptr;
    }
    Reader in(data, size);
    struct Frame {
        VeldaDocNode* node;
        uint32_t remaining;
    };
    uint16_t rootChildren = 0;
    std::unique_ptr<VeldaDocNode> root(readNodeHead(in, rootChildren));
    if (root) {
        // Depth-first with an explicit stack: nesting is bounded by the input
        // only, never by the call stack.
        std::vector<Frame> stack;
        stack.push_back({root.get(), rootChildren});
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.remaining == 0) {
                stack.pop_back();
                continue;
            }
            --top.remaining;
            uint16_t n = 0;
            VeldaDocNode* child = readNodeHead(in, n);
            if (!child) {
                root.reset();
                break;
            }
            top.node->children.push_back(child);
            if (n)
                stack.push_back({child, n});
        }
    }
    if (!root) {
        if (error)
            *error = in.error;
        return nullptr;
    }
    size = in.offset();
    return root.release();
}

} // namespace Velda
