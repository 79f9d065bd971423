// The viewer's index reader on the sample project, empty and broken
// indexes; then velda-inspect printing an index, a bundle and a document.
#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "jobs/FileHelpers.h"

#include "Process.h"
#include "ProjectSamples.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

using namespace VeldaClient;
using VeldaTest::ProcessResult;
using VeldaTest::runProcess;

namespace {

class Inspect : public ::testing::Test {
protected:
    std::string put(const std::string& name, const std::vector<unsigned char>& bytes)
    {
        const std::string path = dir.file(name);
        EXPECT_TRUE(Velda::writeFile(path, bytes.data(), bytes.size()));
        return path;
    }
    ProcessResult inspect(std::vector<std::string> args)
    {
        args.insert(args.begin(), VELDA_INSPECT_PATH);
        return runProcess(args);
    }
    rapidjson::Document json(const ProcessResult& r)
    {
        rapidjson::Document d;
        d.Parse(r.out.c_str());
        EXPECT_FALSE(d.HasParseError()) << r.out.substr(0, 200);
        return d;
    }
    VeldaTest::TempDir dir;
};

const rapidjson::Value& childNamed(const rapidjson::Value& node, const char* name)
{
    for (const auto& c : node["children"].GetArray())
        if (std::string(c["name"].GetString()) == name)
            return c;
    static const rapidjson::Value none;
    ADD_FAILURE() << "no child " << name;
    return none;
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

    const IndexObject& floor = objects.at(3);
    EXPECT_FALSE(floor.castShadow);
    EXPECT_EQ(floor.matrix, Velda::Matrix4());  // identity pattern, 1 in the last cell
    EXPECT_TRUE(objects.at(9).surfaces.empty());  // no "surfs" at all

    const float lo[3] = {0, 0, 0}, hi[3] = {1, 1, 1};
    const std::vector<unsigned char> empty = Velda::packIndex(*VeldaTest::indexDocument({}, {}, {}, lo, hi));
    const IndexInfo none(empty.data(), static_cast<unsigned int>(empty.size()));
    EXPECT_TRUE(none.materialFiles().empty());
    EXPECT_TRUE(none.meshFiles().empty());
    EXPECT_EQ(none.objectCount(), 0u);
}

TEST_F(Inspect, PrintsEachKindAsJson)
{
    ProcessResult r = inspect({put("index", VeldaTest::sampleIndexFile())});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    rapidjson::Document d = json(r);
    EXPECT_STREQ(d["kind"].GetString(), "index");  // what the reader above gives, as JSON
    EXPECT_EQ(d["objectCount"].GetInt(), 4);
    EXPECT_EQ(d["objects"][1]["matrix"][12].GetDouble(), 10.0);
    EXPECT_STREQ(d["objects"][1]["surfaces"][1]["name"].GetString(), "面 1");

    r = inspect({"--compact", put("3.ME", VeldaTest::sampleBundleFile())});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    d = json(r);
    EXPECT_STREQ(d["kind"].GetString(), "bundle");
    EXPECT_EQ(d["documents"].GetInt(), 3);
    ASSERT_EQ(d["trees"].Size(), 3u);
    unsigned total = 0;
    for (const auto& b : d["bytes"].GetArray())
        total += b.GetUint();
    EXPECT_EQ(total, d["uncompressedSize"].GetUint());
    const auto& idx = childNamed(childNamed(d["trees"][2], "indices"), "s0");
    EXPECT_EQ(idx["tag"].GetInt(), 9);
    EXPECT_EQ(idx["value"][2].GetInt(), 2);

    const std::vector<unsigned char> doc = Velda::writeDocumentClear(*VeldaTest::everyTagDocument());
    r = inspect({"--doc", put("node.bin", doc)});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    d = json(r);
    EXPECT_STREQ(d["name"].GetString(), "根");
    EXPECT_EQ(childNamed(d, "byte")["value"].GetInt(), 200);
    EXPECT_STREQ(childNamed(d, "string")["value"].GetString(), "水面 water");
    EXPECT_EQ(childNamed(d, "uint")["value"].GetUint(), 4000000000u);
    EXPECT_STREQ(childNamed(d, "strings")["value"][2].GetString(), "纹理 1.jpg");
    EXPECT_EQ(childNamed(d, "floats")["value"][2].GetDouble(), 3e8);
    EXPECT_EQ(childNamed(d, "f4")["value"].Size(), 4u);
    const auto& group = childNamed(d, "group");
    EXPECT_FALSE(group.HasMember("value"));  // tag 0 has no value
    EXPECT_EQ(childNamed(group, "m12")["value"][9].GetDouble(), 4.0);
    EXPECT_EQ(childNamed(group, "triples")["count"].GetInt(), 2);
    EXPECT_EQ(childNamed(group, "triples")["value"].Size(), 6u);
}

TEST_F(Inspect, ClearErrorsForWhatCannotBeRead)
{
    std::vector<unsigned char> shortBundle = VeldaTest::sampleBundleFile();
    shortBundle[0] = 4;  // claims more documents than it holds
    std::vector<unsigned char> corrupt = VeldaTest::sampleIndexFile(), cut = corrupt;
    for (size_t i = 4; i < corrupt.size(); ++i)
        corrupt[i] ^= 0x5A;
    cut.resize(cut.size() / 2);
    const std::string failed = "资源索引解析失败!";
    const struct {
        std::vector<std::string> args;
        std::string says;
    } cases[] = {
        {{dir.file("none/index")}, "No such file"},
        {{put("notes.txt", {1, 2, 3})}, "--doc"},
        {{put("1.mt", shortBundle)}, "document 3"},
        // The index reader's failure, with its reason nested.
        {{put("index", {1, 2, 3, 4, 5, 6})}, failed},
        {{"--index", put("empty", {})}, failed},
        {{"--index", put("corrupt", corrupt)}, failed},
        {{"--index", put("huge", {0, 0, 0, 0x10, 1, 2})}, failed},  // 256 MB from two bytes
        {{"--index", put("cut", cut)}, failed + " (document truncated"},
    };
    for (const auto& c : cases) {
        const ProcessResult r = inspect(c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;  // one line
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        if (c.says == "document 3")
            EXPECT_EQ(json(r)["trees"].Size(), 3u);  // what parsed, then the error
        else
            EXPECT_TRUE(r.out.empty());
    }
}
