#include "formats/VeldaDocNode.h"

#include "formats/TextHelpers.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace Velda {

namespace {

unsigned char negated(unsigned char b)
{
    return static_cast<unsigned char>(256u - b);
}

void putU16(unsigned char* p, uint16_t v)
{
    p[0] = static_cast<unsigned char>(v & 0xFF);
    p[1] = static_cast<unsigned char>(v >> 8);
}

// A string's raw form as the setters keep it: u16 length, negated UTF-8 bytes.
std::string negatedEntry(const std::wstring& text)
{
    std::string utf8 = wideToUtf8(text);
    if (utf8.size() > 0xFFFF)
        utf8.resize(0xFFFF);
    std::string entry(2 + utf8.size(), '\0');
    putU16(reinterpret_cast<unsigned char*>(&entry[0]), static_cast<uint16_t>(utf8.size()));
    for (size_t i = 0; i < utf8.size(); ++i)
        entry[2 + i] = static_cast<char>(negated(static_cast<unsigned char>(utf8[i])));
    return entry;
}

const std::wstring kEmpty;

} // namespace

VeldaDocNode::VeldaDocNode() = default;

VeldaDocNode::VeldaDocNode(const std::wstring& n) : name(n) {}

VeldaDocNode::VeldaDocNode(const std::wstring& n, uint8_t value) : name(n) { setByte(value); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::wstring& value) : name(n) { setString(value); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, int32_t value) : name(n) { setInt(value); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, uint32_t value) : name(n) { setUInt(value); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, float value) : name(n) { setFloat(value); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::vector<std::wstring>& value) : name(n)
{
    setStrings(value);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const uint16_t* values, uint32_t c) : name(n)
{
    setUInt16Array(values, c);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const int32_t* values, uint32_t c) : name(n)
{
    setInt32Array(values, c);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const float* values, uint32_t c) : name(n)
{
    setFloatArray(values, c);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::vector<int32_t>& values) : name(n)
{
    setInt32Array(values);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::vector<float>& values) : name(n)
{
    setFloatArray(values);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::vector<uint8_t>& values) : name(n)
{
    setByteArray(values.data(), static_cast<uint32_t>(values.size()));
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, const std::vector<bool>& values) : name(n)
{
    setBoolArray(values);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, float x, float y) : name(n) { setFloat2(x, y); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, float x, float y, float z) : name(n) { setFloat3(x, y, z); }
VeldaDocNode::VeldaDocNode(const std::wstring& n, float x, float y, float z, float w) : name(n)
{
    setFloat4(x, y, z, w);
}
VeldaDocNode::VeldaDocNode(const std::wstring& n, float m0, float m1, float m2, float m3, float m4, float m5,
                           float m6, float m7, float m8, float m9, float m10, float m11)
    : name(n)
{
    const float m[12] = {m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11};
    setFloat12(m);
}

VeldaDocNode::~VeldaDocNode()
{
    clearValue();
    // Iterative, so that a deep tree cannot exhaust the stack.
    std::vector<VeldaDocNode*> pending;
    pending.swap(children);
    while (!pending.empty()) {
        VeldaDocNode* node = pending.back();
        pending.pop_back();
        pending.insert(pending.end(), node->children.begin(), node->children.end());
        node->children.clear();
        delete node;
    }
}

void VeldaDocNode::addChild(VeldaDocNode* child)
{
    if (child)
        children.push_back(child);
}

void VeldaDocNode::clearValue()
{
    if (type == kTagString)
        delete strings;
    else if (type == kTagStringArray)
        delete[] strings;
    strings = nullptr;
    std::free(data);
    data = nullptr;
    type = kTagNone;
    dataSize = 0;
    count = 0;
}

void VeldaDocNode::allocate(int32_t tag, uint32_t size, uint32_t elements)
{
    clearValue();
    type = tag;
    dataSize = size;
    count = elements;
    data = size ? static_cast<unsigned char*>(std::calloc(size, 1)) : nullptr;
    if (size && !data)
        throw std::bad_alloc();
}

void VeldaDocNode::assign(int32_t tag, const void* bytes, uint32_t size, uint32_t elements)
{
    allocate(tag, size, elements);
    if (size)
        std::memcpy(data, bytes, size);
}

void VeldaDocNode::setByte(uint8_t value) { assign(kTagByte, &value, 1, 1); }

void VeldaDocNode::setString(const std::wstring& value)
{
    const std::string entry = negatedEntry(value);
    assign(kTagString, entry.data(), static_cast<uint32_t>(entry.size()), 1);
    strings = new std::wstring(value);
}

void VeldaDocNode::setInt(int32_t value) { assign(kTagInt32, &value, 4, 1); }
void VeldaDocNode::setUInt(uint32_t value) { assign(kTagUInt32, &value, 4, 1); }
void VeldaDocNode::setFloat(float value) { assign(kTagFloat, &value, 4, 1); }

void VeldaDocNode::setStrings(const std::vector<std::wstring>& values)
{
    std::string raw;
    for (const std::wstring& v : values)
        raw += negatedEntry(v);
    assign(kTagStringArray, raw.data(), static_cast<uint32_t>(raw.size()), static_cast<uint32_t>(values.size()));
    if (!values.empty()) {
        strings = new std::wstring[values.size()];
        for (size_t i = 0; i < values.size(); ++i)
            strings[i] = values[i];
    }
}

void VeldaDocNode::setUInt16Array(const uint16_t* values, uint32_t n) { assign(kTagUInt16Array, values, 2u * n, n); }
void VeldaDocNode::setInt32Array(const int32_t* values, uint32_t n) { assign(kTagInt32Array, values, 4u * n, n); }
void VeldaDocNode::setFloatArray(const float* values, uint32_t n) { assign(kTagFloatArray, values, 4u * n, n); }

void VeldaDocNode::setInt32Array(const std::vector<int32_t>& values)
{
    setInt32Array(values.data(), static_cast<uint32_t>(values.size()));
}

void VeldaDocNode::setFloatArray(const std::vector<float>& values)
{
    setFloatArray(values.data(), static_cast<uint32_t>(values.size()));
}

void VeldaDocNode::setByteArray(const uint8_t* values, uint32_t n)
{
    allocate(kTagByteArray, n, n);
    for (uint32_t i = 0; i < n; ++i)
        data[i] = values[i] ? 1 : 0;
}

void VeldaDocNode::setBoolArray(const std::vector<bool>& values)
{
    const std::vector<uint8_t> bytes(values.begin(), values.end());
    setByteArray(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void VeldaDocNode::setFloat2(float x, float y)
{
    const float v[2] = {x, y};
    assign(kTagFloat2, v, 8, 1);
}

void VeldaDocNode::setFloat3(float x, float y, float z)
{
    const float v[3] = {x, y, z};
    assign(kTagFloat3, v, 12, 1);
}

void VeldaDocNode::setFloat4(float x, float y, float z, float w)
{
    const float v[4] = {x, y, z, w};
    assign(kTagFloat4, v, 16, 1);
}

void VeldaDocNode::setFloat12(const float values[12]) { assign(kTagFloat12, values, 48, 1); }

void VeldaDocNode::setFloat3Array(const float* values, uint32_t elements)
{
    assign(kTagFloat3Array, values, 12u * elements, elements);
}

uint8_t VeldaDocNode::firstByte() const
{
    return (data && dataSize) ? data[0] : 0;
}

uint32_t VeldaDocNode::firstUInt32() const
{
    uint32_t v = 0;
    if (data)
        std::memcpy(&v, data, dataSize < 4 ? dataSize : 4);
    return v;
}

float VeldaDocNode::firstFloat() const
{
    const uint32_t bits = firstUInt32();
    float v;
    std::memcpy(&v, &bits, 4);
    return v;
}

size_t VeldaDocNode::readFloats(float* out, size_t n) const
{
    const size_t held = data ? dataSize / 4 : 0;
    const size_t k = held < n ? held : n;
    if (k)
        std::memcpy(out, data, k * 4);
    return k;
}

const std::wstring& VeldaDocNode::stringValue(size_t i) const
{
    if (!strings)
        return kEmpty;
    if (type == kTagString)
        return i == 0 ? *strings : kEmpty;
    if (type == kTagStringArray && i < count)
        return strings[i];
    return kEmpty;
}

const VeldaDocNode* VeldaDocNode::child(const std::wstring& childName) const
{
    for (const VeldaDocNode* c : children)
        if (c->name == childName)
            return c;
    return nullptr;
}

} // namespace Velda
