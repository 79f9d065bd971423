#include "formats/PackedData.h"

#include "ProjectSamples.h"

#include <gtest/gtest.h>

#include <memory>
#include <zlib.h>

using namespace Velda;

namespace {
std::vector<std::wstring> unpackIds(const std::vector<unsigned char>& file, int& handed, std::string& why)
{
    std::vector<std::wstring> names;
    handed = unpackBundle(
        file.data(), file.size(),
        [&](int index, std::unique_ptr<VeldaDocNode> root, uint32_t consumed) {
            EXPECT_EQ(index, static_cast<int>(names.size()));
            EXPECT_GT(consumed, 0u);
            names.push_back(std::to_wstring(root->child(L"id")->firstInt32()));
        },
        &why);
    return names;
}
} // namespace

TEST(PackedData, BundleUnpacksInOrder)
{
    int handed = 0;
    std::string why;
    const std::vector<unsigned char> file = VeldaTest::sampleBundleFile();
    EXPECT_EQ(unpackIds(file, handed, why), (std::vector<std::wstring>{L"10", L"11", L"12"}));
    EXPECT_EQ(handed, 3);

    BundleHeader header;
    ASSERT_TRUE(readBundleHeader(file.data(), file.size(), header));
    EXPECT_EQ(header.documents, 3);
}

TEST(PackedData, BadBundlesKeepWhatParsed)
{
    const std::vector<unsigned char> good = VeldaTest::sampleBundleFile();
    int handed = 0;
    std::string why;

    std::vector<unsigned char> more = good;
    more[0] = 5;  // claims five documents, holds three
    EXPECT_EQ(unpackIds(more, handed, why).size(), 3u);
    EXPECT_EQ(handed, 3);
    EXPECT_NE(why.find("document 3"), std::string::npos);

    std::vector<unsigned char> negative = good;
    negative[1] = 0x80;  // the count is signed: no documents
    EXPECT_TRUE(unpackIds(negative, handed, why).empty());
    EXPECT_EQ(handed, 0);

    std::vector<unsigned char> lying = good;
    lying[7] = 0x7F;  // two gigabytes from a few hundred bytes: refused
    unpackIds(lying, handed, why);
    EXPECT_EQ(handed, -1);
    EXPECT_NE(why.find("cannot come from"), std::string::npos);

    std::vector<unsigned char> shortFile(good.begin(), good.begin() + 5);
    unpackIds(shortFile, handed, why);
    EXPECT_EQ(handed, -1);

    // A stream cut halfway inflates what it can; the rest stays zero.
    std::vector<unsigned char> cut(good.begin(), good.begin() + static_cast<long>(good.size() / 2));
    unpackIds(cut, handed, why);
    EXPECT_GE(handed, 0);
    EXPECT_LT(handed, 3);
}

TEST(PackedData, InflateReportsCompleteness)
{
    const std::vector<unsigned char> plain(1000, 'x');
    uLongf bound = compressBound(1000);
    std::vector<unsigned char> z(bound);
    ASSERT_EQ(compress(z.data(), &bound, plain.data(), 1000), Z_OK);
    Inflated out;
    ASSERT_TRUE(inflateDeclared(z.data(), bound, 1000, out));
    EXPECT_TRUE(out.complete);
    EXPECT_EQ(std::vector<unsigned char>(out.bytes.get(), out.bytes.get() + out.produced), plain);
    ASSERT_TRUE(inflateDeclared(z.data(), bound / 2, 1000, out));
    EXPECT_FALSE(out.complete);
    EXPECT_EQ(out.size, 1000u);
    EXPECT_LT(out.produced, 1000u);
}
