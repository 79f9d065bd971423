// Feeds every prefix and many single-byte corruptions of valid project files
// to the velda-inspect program. Built into the sanitizer tree, where the
// program carries AddressSanitizer and UndefinedBehaviorSanitizer.
#include "formats/ProjectProps.h"
#include "formats/VeldaDocNode.h"
#include "jobs/FileHelpers.h"

#include "Process.h"
#include "ProjectSamples.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

// Every copy goes through the program, which must end with 0 or with 1 and a
// line on standard error, and without a sanitizer report.
void fuzzFile(const std::string& name, const std::vector<unsigned char>& valid, unsigned seed, bool document = false)
{
    VeldaTest::TempDir dir;
    const std::string path = dir.file(name);
    std::vector<std::vector<unsigned char>> copies = VeldaTest::damagedCopies(valid, seed);
    copies.push_back(valid);
    std::vector<std::string> args = {VELDA_INSPECT_PATH, "--compact", path};
    if (document)
        args.insert(args.begin() + 1, "--doc");
    for (size_t i = 0; i < copies.size(); ++i) {
        ASSERT_TRUE(Velda::writeFile(path, copies[i].data(), copies[i].size()));
        const VeldaTest::ProcessResult r = VeldaTest::runProcess(args);
        const std::string what = name + (i < valid.size() ? " prefix " : " copy ") + std::to_string(i) + "\n" + r.err;
        ASSERT_TRUE(r.exited) << what << ": killed by signal " << r.signal;
        ASSERT_TRUE(r.exitCode == 0 || (r.exitCode == 1 && !r.err.empty())) << what << "exit " << r.exitCode;
        ASSERT_EQ(r.err.find("Sanitizer"), std::string::npos) << what;
        ASSERT_EQ(r.err.find("runtime error"), std::string::npos) << what;
    }
}

} // namespace

TEST(InspectFuzz, IndexPrefixesAndCorruptions)
{
    fuzzFile("index", VeldaTest::sampleIndexFile(), 1);
}

TEST(InspectFuzz, BundlePrefixesAndCorruptions)
{
    fuzzFile("7.me", VeldaTest::sampleBundleFile(), 2);
}

TEST(InspectFuzz, PropsPrefixesAndCorruptions)
{
    Velda::ProjectProps props;
    Velda::PropsEntry e{"1Wall_0000000000000000", "Wall", "IfcWall", {{"IfcBuildingStorey", "Ground floor", "s"}}, {}};
    e.sets.push_back({"Pset_WallCommon", false, {{"IsExternal", "true", "", "IfcBoolean"}}});
    props.entries = {e};
    props.objectEntry = {{1, 0}};
    fuzzFile("props", Velda::packProjectProps(props), 4);
}

TEST(InspectFuzz, DocumentPrefixesAndCorruptions)
{
    // Uncompressed, so every corruption reaches the document parser.
    fuzzFile("node.bin", Velda::writeDocumentClear(*VeldaTest::everyTagDocument()), 3, true);
}
