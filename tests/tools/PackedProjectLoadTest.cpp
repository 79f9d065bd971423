// What velda-pack writes is what the viewer loads: packed projects go
// through the real asset path (bundles, meshes, materials, textures) into GL.
#include "Common/IndexInfo.h"
#include "assets/AssetBinary.h"
#include "assets/AssetBundle.h"
#include "assets/AssetManager.h"
#include "assets/AssetMaterial.h"
#include "assets/AssetTexture2D.h"
#include "formats/Material.h"

#include "GLHarness.h"
#include "JobPump.h"
#include "Process.h"
#include "ProjectLoad.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using namespace Velda;

namespace {

class PackedProject : public VeldaTest::GLTest {
protected:
    // Loads a project from a cache-like folder, as a second start would.
    void loadProject(const std::string& source)
    {
        const std::string folder = dir.path() + "/Cache/cache_1";
        fs::create_directories(dir.path() + "/Cache");
        fs::copy(source, folder, fs::copy_options::recursive);
        AssetManager manager;
        VeldaTest::LoadedProject project;
        VeldaTest::requestProject(manager, "file://" + folder + "/index", "file://" + folder + "/", project);
        const std::vector<AssetMaterial*>& materials = project.materials;
        ASSERT_TRUE(VeldaTest::pumpJobs());
        EXPECT_TRUE(manager.isReady());
        EXPECT_EQ(manager.progress(), 1.0f);
        for (AssetMaterial* m : materials) {
            ASSERT_NE(m->material(), nullptr);
            for (const auto& t : m->textures()) {
                const AssetTexture2D* image = dynamic_cast<const AssetTexture2D*>(t.second);
                ASSERT_NE(image, nullptr);
                EXPECT_TRUE(image->succeeded()) << image->path();
                EXPECT_NE(image->texture(), nullptr) << image->path();
                // Blended surfaces must not be discarded by the alpha test.
                if (m->material()->getBlend()) {
                    EXPECT_LE(m->material()->getAlphaTestValue(), m->material()->getAlpha());
                }
            }
        }
        textures = 0;
        for (AssetMaterial* m : materials)
            textures += m->textures().size();
        EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    }

    VeldaTest::TempDir dir;
    size_t textures = 0;
};

} // namespace

TEST_F(PackedProject, TheTruckLoadsWithItsTexture)
{
    loadProject(std::string(SAMPLES_PATH) + "/milk-truck");
    EXPECT_GE(textures, 1u);
}

TEST_F(PackedProject, TheCityLoadsWithGlassAndWater)
{
    VeldaTest::TempDir packed;
    const VeldaTest::ProcessResult r =
        VeldaTest::runProcess({VELDA_PACK_PATH, "synth", packed.file("city"), "--buildings", "40"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    loadProject(packed.file("city"));
    EXPECT_GE(textures, 6u);
}
