#pragma once

#include "assets/AssetManager.h"

#include "GLHarness.h"
#include "JobPump.h"
#include "TempDir.h"

#include <memory>

namespace VeldaTest {

// A current GL context, a fresh folder and an AssetManager; the manager
// goes before the context, so its GL names are deleted while it is current.
class AssetGLTest : public GLTest {
protected:
    void SetUp() override
    {
        GLTest::SetUp();
        manager.reset(new Velda::AssetManager());
    }
    void TearDown() override
    {
        manager.reset();
        GLTest::TearDown();
    }
    void pump() { ASSERT_TRUE(pumpJobs()); }

    TempDir dir;
    std::unique_ptr<Velda::AssetManager> manager;
};

} // namespace VeldaTest
