#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace Velda {

namespace {

// Output that starts at 4096 bytes and doubles until the next item fits.
class GrowingBuffer {
public:
    GrowingBuffer() { bytes_.resize(4096); }

    void reserve(size_t item)
    {
        size_t capacity = bytes_.size();
        while (capacity < used_ + item)
            capacity *= 2;
        if (capacity != bytes_.size())
            bytes_.resize(capacity);
    }
    void put(const void* p, size_t n)
    {
        reserve(n);
        if (n)
            std::memcpy(&bytes_[used_], p, n);
        used_ += n;
    }
    void u8(uint8_t v) { put(&v, 1); }
    void u16(uint16_t v)
    {
        const unsigned char b[2] = {static_cast<unsigned char>(v & 0xFF), static_cast<unsigned char>(v >> 8)};
        put(b, 2);
    }
    void u32(uint32_t v)
    {
        const unsigned char b[4] = {static_cast<unsigned char>(v & 0xFF), static_cast<unsigned char>((v >> 8) & 0xFF),
                                    static_cast<unsigned char>((v >> 16) & 0xFF), static_cast<unsigned char>(v >> 24)};
        put(b, 4);
    }
    size_t used() const { return used_; }
    const unsigned char* data() const { return bytes_.data(); }

private:
    std::vector<unsigned char> bytes_;
    size_t used_ = 0;
};

bool isArrayTag(int32_t tag)
{
    return (tag >= kTagStringArray && tag <= kTagByteArray) || tag == kTagFloat3Array;
}

bool hasPayload(int32_t tag)
{
    return (tag >= kTagByte && tag <= kTagFloat12) || tag == kTagFloat3Array;
}

// Pre-order walk with an explicit stack; `head` writes one node up to its
// value, then the walk writes the child count and descends.
template <typename Head, typename Count>
void walk(const VeldaDocNode* root, Head head, Count childCount)
{
    struct Frame {
        const VeldaDocNode* node;
        size_t next;
    };
    std::vector<Frame> stack;
    head(*root);
    childCount(*root);
    stack.push_back({root, 0});
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next == top.node->children.size()) {
            stack.pop_back();
            continue;
        }
        const VeldaDocNode* child = top.node->children[top.next++];
        head(*child);
        childCount(*child);
        if (!child->children.empty())
            stack.push_back({child, 0});
    }
}

} // namespace

uint32_t writeDocument(const VeldaDocNode* root, unsigned char** out)
{
    if (!out)
        return 0;
    *out = nullptr;
    if (!root)
        return 0;
    GrowingBuffer buffer;
    walk(
        root,
        [&buffer](const VeldaDocNode& node) {
            const std::string utf8 = wideToUtf8(node.name);
            const uint16_t length = static_cast<uint16_t>(utf8.size() & 0xFFFF);
            buffer.reserve(length + 2u);
            buffer.u16(length);
            for (uint16_t i = 0; i < length; ++i)
                buffer.u8(static_cast<uint8_t>(256u - static_cast<unsigned char>(utf8[i])));
            buffer.u8(static_cast<uint8_t>(node.type));
            if (isArrayTag(node.type))
                buffer.u32(node.count);
            if (hasPayload(node.type) && node.data)
                buffer.put(node.data, node.dataSize);
        },
        [&buffer](const VeldaDocNode& node) { buffer.u16(static_cast<uint16_t>(node.children.size() & 0xFFFF)); });

    unsigned char* exact = static_cast<unsigned char*>(std::malloc(buffer.used()));
    if (!exact)
        return 0;
    std::memcpy(exact, buffer.data(), buffer.used());
    *out = exact;
    return static_cast<uint32_t>(buffer.used());
}

std::vector<unsigned char> writeDocumentClear(const VeldaDocNode& root)
{
    GrowingBuffer buffer;
    auto text16 = [&buffer](const std::wstring& text, const char* what) {
        const std::string utf8 = wideToUtf8(text);
        if (utf8.size() > 0xFFFF)
            throw std::length_error(std::string(what) + " longer than 65535 bytes");
        buffer.u16(static_cast<uint16_t>(utf8.size()));
        buffer.put(utf8.data(), utf8.size());
    };
    walk(
        &root,
        [&](const VeldaDocNode& node) {
            text16(node.name, "node name");
            buffer.u8(static_cast<uint8_t>(node.type));
            if (node.type == kTagString) {
                text16(node.stringValue(0), "string value");
            } else if (node.type == kTagStringArray) {
                buffer.u32(node.count);
                for (uint32_t i = 0; i < node.count; ++i)
                    text16(node.stringValue(i), "string array entry");
            } else {
                if (isArrayTag(node.type))
                    buffer.u32(node.count);
                if (hasPayload(node.type) && node.data)
                    buffer.put(node.data, node.dataSize);
            }
        },
        [&buffer](const VeldaDocNode& node) {
            if (node.children.size() > 0xFFFF)
                throw std::length_error("more than 65535 children under one node");
            buffer.u16(static_cast<uint16_t>(node.children.size()));
        });
    return std::vector<unsigned char>(buffer.data(), buffer.data() + buffer.used());
}

} // namespace Velda
