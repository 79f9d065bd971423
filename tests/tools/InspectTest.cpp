// The viewer's index reader on the sample project, empty and broken
// indexes; then velda-inspect printing an index, a bundle, a document and
// a props file.
#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "formats/ProjectProps.h"
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

TEST_F(Inspect, PropsRoundTripAndPrint)
{
    Velda::ProjectProps props;
    props.metresPerUnit = 0.001;
    props.sourceUnit = "mm";
    props.max[0] = 4.5f;
    Velda::PropsEntry wall;
    wall.source = "2O2Fr$t4X7Zf8NOew3FLOH";
    wall.name = "外墙 1";
    wall.className = "IfcWall";
    wall.spatial = {{"IfcSite", "Site", "s"}, {"IfcBuildingStorey", "一层", "t"}};
    wall.sets.push_back({"Pset_WallCommon", false, {{"IsExternal", "true", "", "IfcBoolean"},
                                                    {"Note", std::string(70000, 'x'), "", "IfcText"}}});
    wall.sets.push_back({"Qto", true, {{"Length", "4000", "mm", "IfcLengthMeasure"}}});
    props.entries = {wall, Velda::PropsEntry{"/root/node", "node", "node", {}, {}}};
    props.objectEntry = {{1, 0}, {2, 0}, {7, 1}};  // two objects of one wall

    const std::vector<unsigned char> file = Velda::packProjectProps(props);
    const Velda::ProjectProps back = Velda::parseProjectProps(file.data(), file.size());
    EXPECT_EQ(back.metresPerUnit, 0.001f);  // stored as a float
    EXPECT_EQ(back.sourceUnit, "mm");
    EXPECT_EQ(back.max[0], 4.5f);
    EXPECT_EQ(back.objectEntry, props.objectEntry);
    ASSERT_EQ(back.entries.size(), 2u);
    ASSERT_NE(back.entryOf(2), nullptr);
    EXPECT_EQ(back.entryOf(2)->name, "外墙 1");
    EXPECT_EQ(back.entryOf(3), nullptr);
    const Velda::PropsEntry& w = back.entries[0];
    ASSERT_EQ(w.spatial.size(), 2u);
    EXPECT_EQ(w.spatial[1].name, "一层");
    ASSERT_EQ(w.sets.size(), 2u);
    EXPECT_EQ(w.sets[0].values[1].value.size(), 65535u);  // a text over 16 bits is cut, not lost
    EXPECT_TRUE(w.sets[1].quantities);
    EXPECT_EQ(w.sets[1].values[0].unit, "mm");

    const ProcessResult r = inspect({put("props", file)});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const rapidjson::Document d = json(r);
    EXPECT_STREQ(d["kind"].GetString(), "props");
    EXPECT_STREQ(d["sourceUnit"].GetString(), "mm");
    ASSERT_EQ(d["objects"].Size(), 3u);
    const rapidjson::Value& first = d["objects"][0];
    EXPECT_EQ(first["id"].GetInt(), 1);
    EXPECT_STREQ(first["class"].GetString(), "IfcWall");
    EXPECT_STREQ(first["spatial"][1]["class"].GetString(), "IfcBuildingStorey");
    EXPECT_STREQ(first["sets"][1]["values"][0]["unit"].GetString(), "mm");
    EXPECT_TRUE(first["sets"][1]["quantities"].GetBool());
    EXPECT_STREQ(d["objects"][2]["source"].GetString(), "/root/node");

    for (const std::vector<unsigned char>& broken :
         {std::vector<unsigned char>{1, 2}, std::vector<unsigned char>(file.begin(), file.begin() + file.size() / 2),
          Velda::packIndexBytes({0, 0, 0, 0})}) {
        const ProcessResult bad = inspect({"--props", put("broken", broken)});
        EXPECT_EQ(bad.exitCode, 1);
        EXPECT_EQ(bad.err.find('\n'), bad.err.size() - 1) << bad.err;
    }
}
