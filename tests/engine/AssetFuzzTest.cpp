// Every prefix and random corruptions of a valid bundle, PNG and JPG go
// through the real asset path: fetch by file:// address on the worker,
// decode, unpack and parse, GL upload on this thread. Run in the sanitizer
// tree, where any read out of bounds ends the test with a report.
#include "assets/AssetManager.h"
#include "assets/AssetTexture2D.h"
#include "jobs/FileHelpers.h"
#include "platform/Platform.h"

#include "AssetGLTest.h"
#include "ProjectSamples.h"
#include "TestImages.h"

#include <gtest/gtest.h>

using namespace Velda;

namespace {

class AssetFuzz : public VeldaTest::AssetGLTest {
protected:
    void SetUp() override
    {
        AssetGLTest::SetUp();
        folder = dir.path() + "/Cache/cache_1/";
        Platform::makeDirectories(folder + "texs");
    }

    // Loads every variant under its own name, in batches, and checks that
    // each one ends ready or (a bundle) unready, never anything worse.
    void feed(const std::string& extension, const std::vector<unsigned char>& valid, unsigned seed)
    {
        const std::vector<std::vector<unsigned char>> variants = VeldaTest::damagedCopies(valid, seed);
        std::vector<Asset*> assets;
        for (size_t i = 0; i < variants.size(); ++i) {
            const std::string name = extension + "-" + std::to_string(i) + "." + extension;
            writeFile(folder + name, variants[i].data(), variants[i].size());
            assets.push_back(manager->load("file://" + folder + name, Callback()));
            if (assets.size() % 200 == 0)
                pump();
        }
        pump();
        for (Asset* a : assets)
            ASSERT_NE(a, nullptr);
        // The whole file, at least, must have loaded.
        writeFile(folder + "whole." + extension, valid.data(), valid.size());
        Asset* whole = manager->load("file://" + folder + "whole." + extension, Callback());
        pump();
        EXPECT_TRUE(whole->isReady());
        if (AssetTexture2D* image = dynamic_cast<AssetTexture2D*>(whole)) {
            EXPECT_TRUE(image->succeeded());
        }
    }

    std::string folder;
};

} // namespace

TEST_F(AssetFuzz, BundlePngAndJpgPrefixesAndCorruptions)
{
    feed("me", VeldaTest::sampleBundleFile(), 11);
    feed("png", VeldaTest::encodeImage(VeldaTest::ImageKind::Png, 24, 16, 32), 12);
    feed("jpg", VeldaTest::encodeImage(VeldaTest::ImageKind::Jpg, 24, 16, 24), 13);
}
