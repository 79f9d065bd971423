#include "formats/PackedData.h"
#include "jobs/FileHelpers.h"

#include "Process.h"
#include "ProjectSamples.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

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

TEST_F(Inspect, Index)
{
    const ProcessResult r = inspect({put("index", VeldaTest::sampleIndexFile())});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const rapidjson::Document d = json(r);
    EXPECT_STREQ(d["kind"].GetString(), "index");
    EXPECT_EQ(d["unit"].GetInt(), 1000);
    EXPECT_EQ(d["materialFiles"].Size(), 2u);
    EXPECT_STREQ(d["meshFiles"][0].GetString(), "1");
    EXPECT_EQ(d["objectCount"].GetInt(), 4);
    EXPECT_EQ(d["bounds"]["max"][2].GetDouble(), 6.0);
    ASSERT_EQ(d["objects"].Size(), 3u);
    const auto& wall = d["objects"][1];
    EXPECT_STREQ(wall["name"].GetString(), "墙 wall");
    EXPECT_TRUE(wall["castShadow"].GetBool());
    ASSERT_EQ(wall["matrix"].Size(), 16u);
    EXPECT_EQ(wall["matrix"][12].GetDouble(), 10.0);
    EXPECT_STREQ(wall["surfaces"][1]["name"].GetString(), "面 1");
    EXPECT_EQ(wall["surfaces"][1]["meshId"].GetInt(), 11);
}

TEST_F(Inspect, BundleAndDocument)
{
    const std::vector<unsigned char> bundle = VeldaTest::sampleBundleFile();
    ProcessResult r = inspect({"--compact", put("3.ME", bundle)});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    rapidjson::Document d = json(r);
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

TEST_F(Inspect, ClearErrors)
{
    std::vector<unsigned char> shortBundle = VeldaTest::sampleBundleFile();
    shortBundle[0] = 4;  // claims more documents than it holds
    const struct {
        std::string path, says;
    } cases[] = {
        {dir.file("none/index"), "No such file"},
        {put("notes.txt", {1, 2, 3}), "--doc"},
        {put("index", {1, 2, 3, 4, 5, 6}), "资源索引解析失败!"},
        {put("1.mt", shortBundle), "document 3"},
    };
    for (const auto& c : cases) {
        const ProcessResult r = inspect({c.path});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;  // one line
        EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
        if (c.says == "document 3")
            EXPECT_EQ(json(r)["trees"].Size(), 3u);  // what parsed, then the error
        else
            EXPECT_TRUE(r.out.empty());
    }
}
