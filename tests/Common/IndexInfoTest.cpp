#include "Common/IndexInfo.h"

#include "formats/PackedData.h"

#include "ProjectSamples.h"

#include <gtest/gtest.h>

using namespace VeldaClient;

namespace {
// The failure's text and the reason nested in it; "no failure" when it parsed.
std::string failureText(const std::vector<unsigned char>& bytes, std::string* reason = nullptr)
{
    try {
        IndexInfo info(bytes.data(), static_cast<unsigned int>(bytes.size()));
    } catch (const std::exception& e) {
        try {
            std::rethrow_if_nested(e);
        } catch (const std::exception& nested) {
            if (reason)
                *reason = nested.what();
        }
        return e.what();
    }
    return "no failure";
}
} // namespace

TEST(IndexInfo, ReadsTheSampleProject)
{
    const std::vector<unsigned char> file = VeldaTest::sampleIndexFile();
    const IndexInfo info(file.data(), static_cast<unsigned int>(file.size()));
    EXPECT_EQ(info.version(), 3);
    EXPECT_EQ(info.unit(), 1000u);
    EXPECT_EQ(info.materialFiles(), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(info.meshFiles(), (std::vector<std::string>{"1"}));
    EXPECT_EQ(info.objectCount(), 4u);  // the repeated id still counts
    EXPECT_EQ(info.bounds().getMin(), Velda::Vector3(-1, -2, -3));
    EXPECT_EQ(info.bounds().getMax(), Velda::Vector3(4, 5, 6));

    const std::map<int32_t, IndexObject> objects = info.objects();
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects.begin()->first, 3);  // ascending ids

    const IndexObject& wall = objects.at(7);
    EXPECT_EQ(wall.name, "墙 wall");  // the first of the two with id 7 stays
    EXPECT_TRUE(wall.castShadow);
    ASSERT_EQ(wall.surfaces.size(), 2u);
    EXPECT_EQ(wall.surfaces[1].materialId, 2);
    EXPECT_EQ(wall.surfaces[1].meshId, 11);
    EXPECT_EQ(wall.surfaces[1].name, "面 1");
    // Four rows of three; the last is the translation.
    EXPECT_EQ(wall.matrix.getColumn(3), Velda::Vector4(10, 20, 30, 1));
    EXPECT_EQ(wall.matrix.getColumn(0), Velda::Vector4(0, 1, 0, 0));
    EXPECT_EQ(wall.matrix.transformPoint({1, 0, 0}), Velda::Vector3(10, 21, 30));

    const IndexObject& floor = objects.at(3);
    EXPECT_FALSE(floor.castShadow);
    EXPECT_EQ(floor.matrix, Velda::Matrix4());  // identity pattern, 1 in the last cell
    EXPECT_TRUE(objects.at(9).surfaces.empty());  // no "surfs" at all
}

TEST(IndexInfo, EmptyListsAndFailures)
{
    const float lo[3] = {0, 0, 0};
    const float hi[3] = {1, 1, 1};
    const std::vector<unsigned char> empty = Velda::packIndex(*VeldaTest::indexDocument({}, {}, {}, lo, hi));
    const IndexInfo info(empty.data(), static_cast<unsigned int>(empty.size()));
    EXPECT_TRUE(info.materialFiles().empty());
    EXPECT_TRUE(info.meshFiles().empty());
    EXPECT_EQ(info.objectCount(), 0u);

    std::vector<unsigned char> corrupt = VeldaTest::sampleIndexFile();
    for (size_t i = 4; i < corrupt.size(); ++i)
        corrupt[i] ^= 0x5A;
    std::vector<unsigned char> cut = VeldaTest::sampleIndexFile();
    cut.resize(cut.size() / 2);
    for (const std::vector<unsigned char>& bad : {corrupt, std::vector<unsigned char>{}, cut,
                                                  std::vector<unsigned char>{0, 0, 0, 0x10, 1, 2}})  // 256 MB from two bytes
        EXPECT_EQ(failureText(bad), kIndexParseFailure);
    std::string reason;
    failureText(cut, &reason);
    EXPECT_NE(reason.find("truncated"), std::string::npos) << reason;
}
