#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velda {

// Type tags of the document container. The pairs 3/4, 5/6, 9/10 and 11/12
// share a layout; where a reader cares, the first of 3/4, 5/6 and 12/11 is
// signed, and 9 (mesh indices) is unsigned.
enum DocTag : int32_t {
    kTagNone = 0,
    kTagByte = 1,
    kTagString = 2,
    kTagInt16 = 3,
    kTagUInt16 = 4,
    kTagInt32 = 5,
    kTagUInt32 = 6,
    kTagFloat = 7,
    kTagStringArray = 8,
    kTagUInt16Array = 9,
    kTagInt16Array = 10,
    kTagUInt32Array = 11,
    kTagInt32Array = 12,
    kTagFloatArray = 13,
    kTagByteArray = 14,
    kTagFloat2 = 15,
    kTagFloat3 = 16,
    kTagFloat4 = 17,
    kTagFloat12 = 18,
    kTagReserved19 = 19,
    kTagReserved20 = 20,
    kTagFloat3Array = 21,
};

// One node of a document tree: a wide name, a typed raw value and owned
// children. Consumers walk `children`, compare names and read the raw buffer
// in place; the value readers below do that without reading past it.
class VeldaDocNode {
public:
    std::wstring name;
    std::vector<VeldaDocNode*> children;
    int32_t type = kTagNone;
    unsigned char* data = nullptr;  // malloc'd raw value, owned
    uint32_t dataSize = 0;
    uint32_t count = 1;             // 1 for scalars, the length for arrays
    // Decoded text: tag 2 one std::wstring (new), tag 8 `count` of them
    // (new[]); null otherwise. The tag decides how it is released, so the
    // tag is only changed through clearValue() and the setters.
    std::wstring* strings = nullptr;

    VeldaDocNode();
    explicit VeldaDocNode(const std::wstring& name);
    VeldaDocNode(const std::wstring& name, uint8_t value);
    VeldaDocNode(const std::wstring& name, const std::wstring& value);
    VeldaDocNode(const std::wstring& name, int32_t value);
    VeldaDocNode(const std::wstring& name, uint32_t value);
    VeldaDocNode(const std::wstring& name, float value);
    VeldaDocNode(const std::wstring& name, const std::vector<std::wstring>& value);
    VeldaDocNode(const std::wstring& name, const uint16_t* values, uint32_t n);
    VeldaDocNode(const std::wstring& name, const int32_t* values, uint32_t n);
    VeldaDocNode(const std::wstring& name, const float* values, uint32_t n);
    VeldaDocNode(const std::wstring& name, const std::vector<int32_t>& values);
    VeldaDocNode(const std::wstring& name, const std::vector<float>& values);
    VeldaDocNode(const std::wstring& name, const std::vector<uint8_t>& values);
    VeldaDocNode(const std::wstring& name, const std::vector<bool>& values);
    VeldaDocNode(const std::wstring& name, float x, float y);
    VeldaDocNode(const std::wstring& name, float x, float y, float z);
    VeldaDocNode(const std::wstring& name, float x, float y, float z, float w);
    VeldaDocNode(const std::wstring& name, float m0, float m1, float m2, float m3, float m4, float m5,
                 float m6, float m7, float m8, float m9, float m10, float m11);
    ~VeldaDocNode();

    VeldaDocNode(const VeldaDocNode&) = delete;
    VeldaDocNode& operator=(const VeldaDocNode&) = delete;

    // Appends a child and takes ownership; a null child is ignored.
    void addChild(VeldaDocNode* child);

    // Releases text and buffer; type, size and count become 0. Name and
    // children stay.
    void clearValue();

    // Setters clear the old value first. String bytes are stored negated in
    // the raw buffer, as the negated-name writer expects.
    void setByte(uint8_t value);                                  // 1
    void setString(const std::wstring& value);                    // 2
    void setInt(int32_t value);                                   // 5
    void setUInt(uint32_t value);                                 // 6
    void setFloat(float value);                                   // 7
    void setStrings(const std::vector<std::wstring>& values);     // 8
    void setUInt16Array(const uint16_t* values, uint32_t n);      // 9
    void setInt32Array(const int32_t* values, uint32_t n);        // 12
    void setFloatArray(const float* values, uint32_t n);          // 13
    void setInt32Array(const std::vector<int32_t>& values);       // 12
    void setFloatArray(const std::vector<float>& values);         // 13
    void setByteArray(const uint8_t* values, uint32_t n);         // 14, normalised to 0/1
    void setBoolArray(const std::vector<bool>& values);           // 14
    void setFloat2(float x, float y);                             // 15
    void setFloat3(float x, float y, float z);                    // 16
    void setFloat4(float x, float y, float z, float w);           // 17
    void setFloat12(const float values[12]);                      // 18
    void setFloat3Array(const float* values, uint32_t elements);  // 21, three floats each

    // Bounded readers of the raw buffer. A missing or short buffer reads as
    // zero bytes; nothing is converted, so a float read as an integer gives
    // its bit pattern.
    uint8_t firstByte() const;
    uint32_t firstUInt32() const;
    int32_t firstInt32() const { return static_cast<int32_t>(firstUInt32()); }
    float firstFloat() const;
    // Copies up to `n` floats; returns how many the buffer held.
    size_t readFloats(float* out, size_t n) const;
    // The decoded text for tag 2, or entry i for tag 8; empty otherwise.
    const std::wstring& stringValue(size_t i = 0) const;
    // First child with exactly this name, or null.
    const VeldaDocNode* child(const std::wstring& childName) const;

private:
    void allocate(int32_t tag, uint32_t size, uint32_t elements);
    // A value of `size` bytes copied as they are.
    void assign(int32_t tag, const void* bytes, uint32_t size, uint32_t elements);
};

// Parses one document from `data`, reading at most `size` bytes. On success
// returns the root (the caller deletes it) and sets `size` to the bytes
// consumed; documents can stand back to back. Truncated or corrupt input, or
// a null pointer, gives null; `error`, when given, then says why.
VeldaDocNode* parseDocument(const unsigned char* data, uint32_t& size, std::string* error = nullptr);

// The writer for tools: names negated byte by byte as the format's producer
// does. Returns the size and a malloc'd buffer through `out` (free() it);
// null and 0 when there is nothing to write. Sizes wider than 16 bits are
// stored modulo 65536.
uint32_t writeDocument(const VeldaDocNode* root, unsigned char** out);

// A writer whose output parseDocument reads back to the same tree: names and
// strings are written in the clear (strings from their decoded text). Throws
// std::length_error when a name, string or child list does not fit its
// 16-bit length.
std::vector<unsigned char> writeDocumentClear(const VeldaDocNode& root);

} // namespace Velda
