// Every prefix and random corruptions of a valid bundle, PNG and JPG go
// through the real asset path: fetch by file:// address on the worker,
// decode, unpack and parse, GL upload on this thread. Run in the sanitizer
// tree, where any read out of bounds ends the test with a report.
#include "assets/AssetBundle.h"
#include "assets/AssetManager.h"
#include "assets/AssetTexture2D.h"
#include "formats/PackedData.h"
#include "jobs/FileHelpers.h"
#include "jobs/JobManager.h"
#include "platform/Platform.h"

#include "GLHarness.h"
#include "JobPump.h"
#include "ProjectSamples.h"
#include "TempDir.h"
#include "TestImages.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

using namespace Velda;

namespace {

class AssetFuzz : public VeldaTest::GLTest {
protected:
    void SetUp() override
    {
        GLTest::SetUp();
        folder = dir.path() + "/Cache/cache_1/";
        Platform::makeDirectories(folder + "texs");
        manager.reset(new AssetManager());
    }
    void TearDown() override
    {
        manager.reset();
        GLTest::TearDown();
    }

    void pump() { ASSERT_TRUE(VeldaTest::pumpJobs()); }

    // Loads every variant under its own name, in batches, and checks that
    // each one ends ready or (a bundle) unready, never anything worse.
    void feed(const std::string& extension, const std::vector<unsigned char>& valid, unsigned seed)
    {
        std::vector<std::vector<unsigned char>> variants;
        for (size_t n = 0; n < valid.size(); ++n)
            variants.emplace_back(valid.begin(), valid.begin() + static_cast<long>(n));
        std::mt19937 random(seed);
        for (int i = 0; i < 1000; ++i) {
            std::vector<unsigned char> bad = valid;
            const size_t at = random() % bad.size();
            bad[at] = static_cast<unsigned char>(bad[at] ^ (1 + random() % 255));
            variants.push_back(bad);
        }
        std::vector<Asset*> assets;
        for (size_t i = 0; i < variants.size(); ++i) {
            const std::string name = extension + "-" + std::to_string(i) + "." + extension;
            writeFile(folder + name, variants[i].data(), variants[i].size());
            assets.push_back(manager->load("file://" + folder + name, Callback()));
            if (assets.size() % 200 == 0)
                pump();
        }
        pump();
        int ready = 0;
        for (Asset* a : assets) {
            ASSERT_NE(a, nullptr);
            ready += a->isReady() ? 1 : 0;
        }
        // The whole file, at least, must have loaded.
        writeFile(folder + "whole." + extension, valid.data(), valid.size());
        Asset* whole = manager->load("file://" + folder + "whole." + extension, Callback());
        pump();
        EXPECT_TRUE(whole->isReady());
        if (AssetTexture2D* image = dynamic_cast<AssetTexture2D*>(whole)) {
            EXPECT_TRUE(image->succeeded());
        }
        RecordProperty(extension + "_ready", ready);
        std::printf("%s: %zu variants, %d ready\n", extension.c_str(), variants.size(), ready);
    }

    VeldaTest::TempDir dir;
    std::string folder;
    std::unique_ptr<AssetManager> manager;
};

} // namespace

TEST_F(AssetFuzz, BundlePrefixesAndCorruptions)
{
    feed("me", VeldaTest::sampleBundleFile(), 11);
}

TEST_F(AssetFuzz, PngPrefixesAndCorruptions)
{
    feed("png", VeldaTest::encodeImage(VeldaTest::ImageKind::Png, 24, 16, 32), 12);
}

TEST_F(AssetFuzz, JpgPrefixesAndCorruptions)
{
    feed("jpg", VeldaTest::encodeImage(VeldaTest::ImageKind::Jpg, 24, 16, 24), 13);
}
