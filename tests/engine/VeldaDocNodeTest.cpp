#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include "ProjectSamples.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace Velda;

namespace {

using Bytes = std::vector<unsigned char>;

void u16(Bytes& b, uint16_t v)
{
    b.push_back(static_cast<unsigned char>(v & 0xFF));
    b.push_back(static_cast<unsigned char>(v >> 8));
}
void u32(Bytes& b, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<unsigned char>((v >> (8 * i)) & 0xFF));
}
void text(Bytes& b, const std::string& s)
{
    u16(b, static_cast<uint16_t>(s.size()));
    b.insert(b.end(), s.begin(), s.end());
}

std::unique_ptr<VeldaDocNode> parse(const Bytes& b, uint32_t* consumed = nullptr)
{
    uint32_t size = static_cast<uint32_t>(b.size());
    std::unique_ptr<VeldaDocNode> root(parseDocument(b.data(), size));
    if (consumed)
        *consumed = size;
    return root;
}

// Two trees are equal in every field the parser fills.
void expectSameTree(const VeldaDocNode& a, const VeldaDocNode& b)
{
    ASSERT_EQ(a.name, b.name);
    ASSERT_EQ(a.type, b.type) << wideToUtf8(a.name);
    ASSERT_EQ(a.count, b.count);
    if (a.type == kTagString || a.type == kTagStringArray) {
        for (uint32_t i = 0; i < a.count; ++i)
            EXPECT_EQ(a.stringValue(i), b.stringValue(i));
    } else {
        ASSERT_EQ(a.dataSize, b.dataSize);
        if (a.dataSize) {
            EXPECT_EQ(0, std::memcmp(a.data, b.data, a.dataSize));
        }
    }
    ASSERT_EQ(a.children.size(), b.children.size());
    for (size_t i = 0; i < a.children.size(); ++i)
        expectSameTree(*a.children[i], *b.children[i]);
}

} // namespace

TEST(VeldaDocNode, ParsesTheByteFormatExactly)
{
    Bytes b;
    text(b, "");             // root: no name
    b.push_back(0);          // tag 0: no payload
    u16(b, 6);               // six children
    text(b, "s");            // tag 2 of length 0
    b.push_back(2);
    u16(b, 0);
    u16(b, 0);
    text(b, "n");            // tag 19: no payload
    b.push_back(19);
    u16(b, 0);
    text(b, "x");            // tag 200: accepted like tag 0
    b.push_back(200);
    u16(b, 0);
    text(b, "l");            // tag 8 with count 0
    b.push_back(8);
    u32(b, 0);
    u16(b, 0);
    text(b, std::string("cu\0t", 4));  // a name with a NUL inside
    b.push_back(2);
    text(b, std::string("ab\0cd", 5));
    u16(b, 0);
    text(b, "f");            // a float, read by a consumer as an integer
    b.push_back(7);
    const float f = 1.5f;
    b.insert(b.end(), reinterpret_cast<const unsigned char*>(&f), reinterpret_cast<const unsigned char*>(&f) + 4);
    u16(b, 0);

    uint32_t consumed = 0;
    std::unique_ptr<VeldaDocNode> root = parse(b, &consumed);
    ASSERT_TRUE(root);
    EXPECT_EQ(consumed, b.size());
    EXPECT_EQ(root->name, L"");
    EXPECT_EQ(root->count, 1u);
    ASSERT_EQ(root->children.size(), 6u);

    const VeldaDocNode& s = *root->children[0];
    EXPECT_EQ(s.stringValue(), L"");
    ASSERT_EQ(s.dataSize, 2u);
    EXPECT_EQ(s.data[0] | s.data[1], 0);
    for (int i : {1, 2}) {
        EXPECT_EQ(root->children[i]->count, 1u);
        EXPECT_EQ(root->children[i]->dataSize, 0u);
        EXPECT_EQ(root->children[i]->data, nullptr);
    }
    EXPECT_EQ(root->children[2]->type, 200);
    EXPECT_EQ(root->children[3]->count, 0u);
    EXPECT_EQ(root->children[3]->dataSize, 0u);

    const VeldaDocNode& cut = *root->children[4];
    EXPECT_EQ(cut.name, L"cu");
    EXPECT_EQ(cut.stringValue(), L"ab");
    EXPECT_EQ(cut.dataSize, 7u);  // the raw buffer keeps the length and all five bytes

    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    EXPECT_EQ(root->children[5]->firstUInt32(), bits);
}

TEST(VeldaDocNode, DocumentsBackToBackAndEveryPrefix)
{
    const Bytes one = writeDocumentClear(*VeldaTest::everyTagDocument());
    Bytes two = one;
    two.insert(two.end(), one.begin(), one.end());
    uint32_t consumed = 0;
    ASSERT_TRUE(parse(two, &consumed));
    EXPECT_EQ(consumed, one.size());

    // A bounded parser: every prefix of a valid document is refused with a
    // reason, and nothing reads past the given size (checked under ASan).
    for (size_t n = 0; n < one.size(); ++n) {
        std::unique_ptr<unsigned char[]> exact(new unsigned char[n + 1]);
        std::memcpy(exact.get(), one.data(), n);
        uint32_t size = static_cast<uint32_t>(n);
        std::string why;
        std::unique_ptr<VeldaDocNode> root(parseDocument(exact.get(), size, &why));
        EXPECT_FALSE(root) << "prefix " << n;
        EXPECT_NE(why.find("truncated"), std::string::npos);
    }
    uint32_t size = 0;
    EXPECT_EQ(parseDocument(nullptr, size), nullptr);
}

TEST(VeldaDocNode, ClearWriterRoundTripsEveryTag)
{
    std::unique_ptr<VeldaDocNode> original = VeldaTest::everyTagDocument();
    const Bytes bytes = writeDocumentClear(*original);
    std::unique_ptr<VeldaDocNode> back = parse(bytes);
    ASSERT_TRUE(back);
    expectSameTree(*original, *back);
    EXPECT_EQ(back->child(L"bools")->data[2], 1);
    EXPECT_EQ(back->child(L"strings")->stringValue(2), L"纹理 1.jpg");
}

TEST(VeldaDocNode, SpecifiedWriterNegatesNamesAndStrings)
{
    VeldaDocNode root(L"a");
    root.addChild(new VeldaDocNode(L"b", std::wstring(L"c")));
    root.addChild(nullptr);  // ignored
    unsigned char* out = nullptr;
    const uint32_t size = writeDocument(&root, &out);
    ASSERT_NE(out, nullptr);
    const Bytes expected = {1, 0, 0x9F, 0, 1, 0,             // "a", tag 0, one child
                            1, 0, 0x9E, 2, 1, 0, 0x9D, 0, 0};  // "b", tag 2, "c" negated
    EXPECT_EQ(Bytes(out, out + size), expected);
    std::free(out);

    EXPECT_EQ(writeDocument(nullptr, &out), 0u);
    EXPECT_EQ(out, nullptr);
}

TEST(VeldaDocNode, ChildCountLimits)
{
    VeldaDocNode wide(L"w");
    for (int i = 0; i < 65535; ++i)
        wide.addChild(new VeldaDocNode());
    std::unique_ptr<VeldaDocNode> back = parse(writeDocumentClear(wide));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->children.size(), 65535u);

    wide.addChild(new VeldaDocNode());
    EXPECT_THROW(writeDocumentClear(wide), std::length_error);
    unsigned char* out = nullptr;
    const uint32_t size = writeDocument(&wide, &out);
    ASSERT_GT(size, 6u);
    EXPECT_EQ(out[4] | (out[5] << 8), 0);  // only the low 16 bits of 65536
    std::free(out);
}

TEST(VeldaDocNode, DeepTreesNeedNoDeepStack)
{
    // Nesting is bounded by the input only; parse, write and delete are
    // iterative.
    const int depth = 200000;
    Bytes b;
    for (int i = 0; i < depth; ++i) {
        u16(b, 0);
        b.push_back(0);
        u16(b, i + 1 < depth ? 1 : 0);
    }
    std::unique_ptr<VeldaDocNode> root = parse(b);
    ASSERT_TRUE(root);
    EXPECT_EQ(writeDocumentClear(*root), b);
}

TEST(VeldaDocNode, SettersAndClearValue)
{
    VeldaDocNode n(L"n", std::vector<std::wstring>{L"ab", L"水"});
    EXPECT_EQ(n.type, kTagStringArray);
    EXPECT_EQ(n.count, 2u);
    ASSERT_EQ(n.dataSize, 2u + 2u + 2u + 3u);
    EXPECT_EQ(n.data[2], 256 - 'a');  // stored negated
    const uint8_t raw[3] = {0, 7, 1};
    n.setByteArray(raw, 3);
    EXPECT_EQ(n.type, kTagByteArray);
    EXPECT_EQ(n.data[1], 1);  // normalised
    n.clearValue();
    EXPECT_EQ(n.type, 0);
    EXPECT_EQ(n.count, 0u);
    EXPECT_EQ(n.data, nullptr);
    EXPECT_EQ(n.strings, nullptr);
    EXPECT_EQ(n.name, L"n");
    // Short buffers read as zero bytes, never past their end.
    VeldaDocNode one(L"b", static_cast<uint8_t>(0xAB));
    EXPECT_EQ(one.firstUInt32(), 0xABu);
    float out[3] = {9, 9, 9};
    EXPECT_EQ(one.readFloats(out, 3), 0u);
}
