// Feeds every prefix and many single-byte corruptions of valid project files
// to the velda-inspect program. Built into the sanitizer tree, where the
// program carries AddressSanitizer and UndefinedBehaviorSanitizer.
#include "formats/VeldaDocNode.h"
#include "jobs/FileHelpers.h"

#include "Process.h"
#include "ProjectSamples.h"
#include "TempDir.h"

#include <gtest/gtest.h>


namespace {

void expectCleanRun(const std::string& path, const std::string& what)
{
    const bool document = path.size() >= 8 && path.compare(path.size() - 8, 8, "node.bin") == 0;
    std::vector<std::string> args = {VELDA_INSPECT_PATH, "--compact", path};
    if (document)
        args.insert(args.begin() + 1, "--doc");
    const VeldaTest::ProcessResult r = VeldaTest::runProcess(args);
    ASSERT_TRUE(r.exited) << what << ": killed by signal " << r.signal;
    ASSERT_TRUE(r.exitCode == 0 || r.exitCode == 1) << what << ": exit " << r.exitCode << "\n" << r.err;
    ASSERT_EQ(r.err.find("Sanitizer"), std::string::npos) << what << "\n" << r.err;
    ASSERT_EQ(r.err.find("runtime error"), std::string::npos) << what << "\n" << r.err;
    if (r.exitCode == 1) {
        ASSERT_FALSE(r.err.empty()) << what;
    }
}

void fuzzFile(const std::string& name, const std::vector<unsigned char>& valid, unsigned seed)
{
    VeldaTest::TempDir dir;
    const std::string path = dir.file(name);
    std::vector<std::vector<unsigned char>> copies = VeldaTest::damagedCopies(valid, seed);
    copies.push_back(valid);
    for (size_t i = 0; i < copies.size(); ++i) {
        ASSERT_TRUE(Velda::writeFile(path, copies[i].data(), copies[i].size()));
        expectCleanRun(path, name + (i < valid.size() ? " prefix " : " copy ") + std::to_string(i));
        if (::testing::Test::HasFatalFailure())
            return;
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

TEST(InspectFuzz, DocumentPrefixesAndCorruptions)
{
    // Uncompressed, so every corruption reaches the document parser.
    fuzzFile("node.bin", Velda::writeDocumentClear(*VeldaTest::everyTagDocument()), 3);
}
