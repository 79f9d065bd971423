// The document container (parser, writers, setters), the packed files
// around it, and the text helpers.
#include "formats/PackedData.h"
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
void text(Bytes& b, const std::string& s)
{
    u16(b, static_cast<uint16_t>(s.size()));
    b.insert(b.end(), s.begin(), s.end());
}
// A node's name and tag; its value and child count follow.
void head(Bytes& b, const std::string& name, uint8_t tag)
{
    text(b, name);
    b.push_back(tag);
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
    head(b, "", 0);                    // root: no name, no payload
    u16(b, 6);                         // six children
    head(b, "s", 2);                   // a string of length 0
    u16(b, 0);
    u16(b, 0);
    head(b, "n", 19);                  // no payload
    u16(b, 0);
    head(b, "x", 200);                 // accepted like tag 0
    u16(b, 0);
    head(b, "l", 8);                   // a string array of count 0
    b.insert(b.end(), {0, 0, 0, 0, 0, 0});
    head(b, std::string("cu\0t", 4), 2);  // NULs inside a name and a string
    text(b, std::string("ab\0cd", 5));
    u16(b, 0);
    head(b, "f", 7);                   // a float, read by a consumer as an integer
    b.insert(b.end(), {0x00, 0x00, 0xC0, 0x3F, 0, 0});  // 1.5f, no children

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
        EXPECT_EQ(root->children[i]->data, nullptr);
    }
    EXPECT_EQ(root->children[2]->type, 200);
    EXPECT_EQ(root->children[3]->count, 0u);
    EXPECT_EQ(root->children[3]->dataSize, 0u);
    const VeldaDocNode& cut = *root->children[4];
    EXPECT_EQ(cut.name, L"cu");
    EXPECT_EQ(cut.stringValue(), L"ab");
    EXPECT_EQ(cut.dataSize, 7u);  // the raw buffer keeps the length and all five bytes
    EXPECT_EQ(root->children[5]->firstUInt32(), 0x3FC00000u);  // the bits, not 1
    EXPECT_EQ(root->children[5]->firstFloat(), 1.5f);
}

TEST(VeldaDocNode, ClearWriterRoundTripsBackToBackAndEveryPrefixIsRefused)
{
    std::unique_ptr<VeldaDocNode> original = VeldaTest::everyTagDocument();
    const Bytes one = writeDocumentClear(*original);
    Bytes two = one;
    two.insert(two.end(), one.begin(), one.end());
    uint32_t consumed = 0;
    std::unique_ptr<VeldaDocNode> back = parse(two, &consumed);
    ASSERT_TRUE(back);
    EXPECT_EQ(consumed, one.size());
    expectSameTree(*original, *back);
    EXPECT_EQ(back->child(L"strings")->stringValue(2), L"纹理 1.jpg");

    // A bounded parser: every prefix of a valid document is refused with a
    // reason, and nothing reads past the given size (checked under ASan).
    for (size_t n = 0; n < one.size(); ++n) {
        std::unique_ptr<unsigned char[]> exact(new unsigned char[n + 1]);
        std::memcpy(exact.get(), one.data(), n);
        uint32_t size = static_cast<uint32_t>(n);
        std::string why;
        EXPECT_EQ(std::unique_ptr<VeldaDocNode>(parseDocument(exact.get(), size, &why)), nullptr) << "prefix " << n;
        EXPECT_NE(why.find("truncated"), std::string::npos);
    }
    uint32_t size = 0;
    EXPECT_EQ(parseDocument(nullptr, size), nullptr);
}

TEST(VeldaDocNode, NegatingWriterNegatesNamesAndStrings)
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

TEST(VeldaDocNode, ChildCountLimitsAndDeepTrees)
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

    // Nesting is bounded by the input only; parse, write and delete are
    // iterative.
    const int depth = 200000;
    Bytes deep;
    for (int i = 0; i < depth; ++i) {
        head(deep, "", 0);
        u16(deep, i + 1 < depth ? 1 : 0);
    }
    std::unique_ptr<VeldaDocNode> root = parse(deep);
    ASSERT_TRUE(root);
    EXPECT_EQ(writeDocumentClear(*root), deep);
}

TEST(VeldaDocNode, SettersAndBoundedReaders)
{
    VeldaDocNode n(L"n", std::vector<std::wstring>{L"ab", L"水"});
    ASSERT_EQ(n.dataSize, 2u + 2u + 2u + 3u);
    EXPECT_EQ(n.data[2], 256 - 'a');  // stored negated
    const uint8_t raw[3] = {0, 7, 1};
    n.setByteArray(raw, 3);
    EXPECT_EQ(n.type, kTagByteArray);
    EXPECT_EQ(n.data[1], 1);  // normalised
    EXPECT_EQ(n.strings, nullptr);
    // Short buffers read as zero bytes, never past their end.
    VeldaDocNode one(L"b", static_cast<uint8_t>(0xAB));
    EXPECT_EQ(one.firstUInt32(), 0xABu);
    float out[3] = {9, 9, 9};
    EXPECT_EQ(one.readFloats(out, 3), 0u);
}

namespace {
std::vector<int> unpackIds(const Bytes& file, int& handed, std::string& why)
{
    std::vector<int> ids;
    handed = unpackBundle(
        file.data(), file.size(),
        [&](int index, std::unique_ptr<VeldaDocNode> root, uint32_t consumed) {
            EXPECT_EQ(index, static_cast<int>(ids.size()));
            EXPECT_GT(consumed, 0u);
            ids.push_back(root->child(L"id")->firstInt32());
        },
        &why);
    return ids;
}
} // namespace

TEST(PackedData, BundlesKeepWhatParsed)
{
    const Bytes good = VeldaTest::sampleBundleFile();
    int handed = 0;
    std::string why;
    EXPECT_EQ(unpackIds(good, handed, why), (std::vector<int>{10, 11, 12}));
    EXPECT_EQ(handed, 3);

    Bytes negative = good;
    negative[1] = 0x80;  // the count is signed: no documents
    EXPECT_TRUE(unpackIds(negative, handed, why).empty());
    EXPECT_EQ(handed, 0);

    Bytes lying = good;
    lying[7] = 0x7F;  // two gigabytes from a few hundred bytes: refused
    unpackIds(lying, handed, why);
    EXPECT_EQ(handed, -1);
    EXPECT_NE(why.find("cannot come from"), std::string::npos);

    unpackIds(Bytes(good.begin(), good.begin() + 5), handed, why);
    EXPECT_EQ(handed, -1);

    // A stream cut halfway is no error: whatever parsed is handed over.
    unpackIds(Bytes(good.begin(), good.begin() + static_cast<long>(good.size() / 2)), handed, why);
    EXPECT_GE(handed, 0);
    EXPECT_LT(handed, 3);
}

TEST(TextHelpers, Utf8RoundTripAndInvalidBytes)
{
    const std::string chinese = "光圈圆点-内环(划过).png 水";
    EXPECT_EQ(wideToUtf8(utf8ToWide(chinese)), chinese);
    EXPECT_EQ(utf8ToWide(std::string("\xF0\x9F\x98\x80")), std::wstring(1, static_cast<wchar_t>(0x1F600)));
    // Invalid and overlong sequences become U+FFFD, one per broken piece.
    EXPECT_EQ(utf8ToWide(std::string("a\xFF" "b")), L"a\xFFFD" L"b");
    EXPECT_EQ(utf8ToWide(std::string("\xC0\xAF")), L"\xFFFD");
    EXPECT_EQ(utf8ToWide(std::string("\xE6\xB0")), L"\xFFFD");
    // Conversions of NUL-terminated text stop at the NUL.
    EXPECT_EQ(utf8ToWide(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(wideToSystem(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(intToWide(-17), L"-17");
}

TEST(TextHelpers, SplitAndPathParts)
{
    EXPECT_EQ(split("a,,b,", ","), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split(",a", ","), (std::vector<std::string>{"", "a"}));
    EXPECT_TRUE(split("", ",").empty());
    EXPECT_EQ(split("a::b", "::"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(fileNameOf("C:\\x/y\\z.png"), "z.png");
    EXPECT_EQ(fileNameOf("plain"), "plain");
    EXPECT_EQ(directoryOf("C:/a/b.exe"), "C:/a");
    EXPECT_EQ(directoryOf("/b.exe"), "");
    EXPECT_EQ(directoryOf("b.exe"), "");
    EXPECT_EQ(extensionOf("a.b/c.mt"), "mt");
    EXPECT_EQ(extensionOf("index"), "");
    EXPECT_EQ(toLowerAscii("AbC水Z"), "abc水z");
    EXPECT_EQ(toLowerAscii("ABCDEF", 2, 3), "cde");
}

TEST(TextHelpers, NumberParsers)
{
    const std::pair<const char*, float> floats[] = {
        {"1.5", 1.5f}, {"-0.25", -0.25f}, {"+007.5", 7.5f}, {"1.5e2", 150.0f}, {"25E-1", 2.5f}, {".5", 0.5f},
        {"NaN", 0.0f}, {"1.2.3", 0.0f},  {"12a", 0.0f},    {"", 0.0f},
    };
    for (const auto& c : floats)
        EXPECT_FLOAT_EQ(textToFloat(c.first), c.second) << c.first;
    EXPECT_FLOAT_EQ(textToFloat("xx3.25yy", 2, 4), 3.25f);
    // At most 64 characters count: the junk behind them is never seen.
    EXPECT_FLOAT_EQ(textToFloat(std::string(63, '0') + "7junk"), 7.0f);
    EXPECT_EQ(textToInt("-00042"), -42);
    EXPECT_EQ(textToInt("+17"), 17);
    EXPECT_EQ(textToInt("4x"), 0);
    EXPECT_EQ(textToInt("1.0"), 0);
}

TEST(TextHelpers, NumberTextsBothWays)
{
    // "0" below 0.0001 in size, otherwise three decimals.
    EXPECT_EQ(floatToText(-0.00009f), "0");
    EXPECT_EQ(floatToText(0.0001f), "0.000");
    EXPECT_EQ(floatToText(2.0f / 3.0f), "0.667");
    const float v[3] = {1.0f, 0.00001f, -2.5f};
    EXPECT_EQ(floatsToText(v, 3), "1.000 0 -2.500");
    EXPECT_EQ(intsToListText({1, -2, 3}), "[1,-2,3]");
    EXPECT_EQ(floatsToListText({1.25f, 1.0f / 0.0f}, 1), "[1.2,0]");
    EXPECT_EQ(floatsToScaledListText({1.25f, -0.5f}, 2), "[125,-50]");
    EXPECT_EQ(floatsToHexListText({1.0f, -0.5f}), "[3e8,01f4]");

    EXPECT_EQ(textToFloats("  1.5  -2 "), (std::vector<float>{1.5f, -2.0f}));
    EXPECT_EQ(textToFloats("1500 -250", "True"), (std::vector<float>{1.5f, -0.25f}));
    EXPECT_EQ(textToFloats("150", "Fix2"), (std::vector<float>{1.5f}));
    float vec[3] = {9, 9, 9};
    EXPECT_FALSE(textToVec3("1 2", vec));
    EXPECT_EQ(vec[0], 9.0f);
    EXPECT_TRUE(textToVec3("1 2 3 4", vec));
    EXPECT_EQ(vec[2], 3.0f);
    float m[16] = {};
    EXPECT_FALSE(textToMatrix("1 2 3", m));
    EXPECT_EQ(m[0], 0.0f);
    ASSERT_TRUE(textToMatrix("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", m));  // pieces run along rows
    EXPECT_EQ(std::vector<float>(m, m + 16),
              (std::vector<float>{1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}));
    ASSERT_TRUE(textToMatrix("1 2 3 4 5 6 7 8 9 10 11 12", m, true));
    EXPECT_EQ(std::vector<float>(m, m + 16), (std::vector<float>{1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12, 0, 0, 0, 1}));
}
