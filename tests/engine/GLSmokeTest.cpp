#include "render/MultisampleCount.h"

#include "GLHarness.h"
#include "GlslValidator.h"

#include <gtest/gtest.h>

#include <vector>

using VeldaTest::GLTest;
using VeldaTest::ShaderStage;
using VeldaTest::validateGlsl120;

TEST(MultisampleCount, ClampsToTheSmallestLimit)
{
    EXPECT_EQ(Velda::clampSampleCount(8, 4, 8, 8), 4);
    EXPECT_EQ(Velda::clampSampleCount(8, 16, 8, 2), 2);
    EXPECT_EQ(Velda::clampSampleCount(8, 32, 32, 32), 8);
    EXPECT_EQ(Velda::clampSampleCount(8, 0, 0, 0), 8);
    EXPECT_EQ(Velda::clampSampleCount(0, 4, 4, 4), 1);
}

TEST_F(GLTest, FloatMultisampleTargetResolvesExactly)
{
    EXPECT_NE(context_->version().find("Compatibility"), std::string::npos) << context_->version();
    const int samples = Velda::multisampleCount();
    GLint maxSamples = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    EXPECT_GE(samples, 1);
    EXPECT_LE(samples, maxSamples);

    // Names are not deleted: they go with the context.
    const int w = 32, h = 16;
    GLuint textures[2], framebuffers[2];
    glGenTextures(2, textures);
    glGenFramebuffers(2, framebuffers);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, textures[0]);
    glTexImage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, samples, GL_RGBA16F, w, h, GL_TRUE);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[0]);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D_MULTISAMPLE, textures[0], 0);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    GLint gotSamples = 0;
    glGetIntegerv(GL_SAMPLES, &gotSamples);
    EXPECT_EQ(gotSamples, samples);

    glViewport(0, 0, w, h);
    glClearColor(2.5f, 1.5f, 0.25f, 3.0f);  // above 1: the target must not clamp
    glClear(GL_COLOR_BUFFER_BIT);

    glBindTexture(GL_TEXTURE_2D, textures[1]);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16F, w, h, 0, GL_RGBA, GL_FLOAT, nullptr);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[1]);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[1], 0);
    ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffers[0]);
    glBlitFramebuffer(0, 0, w, h, 0, 0, w, h, GL_COLOR_BUFFER_BIT, GL_NEAREST);

    glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffers[1]);
    std::vector<float> pixels(static_cast<size_t>(w * h * 4), -1.0f), expected;
    glReadPixels(0, 0, w, h, GL_RGBA, GL_FLOAT, pixels.data());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    for (int i = 0; i < w * h; ++i)
        expected.insert(expected.end(), {2.5f, 1.5f, 0.25f, 3.0f});
    EXPECT_EQ(pixels, expected);
}

TEST(GlslValidator, StrictVersion120)
{
    // What Mesa lets through but stricter drivers refuse, and a plain error.
    // Valid shaders pass: the shader tests validate every real one.
    const struct {
        const char* source;
        ShaderStage stage;
        const char* logHas;
    } refused[] = {
        {"void main() { gl_FragColor = vec4(1.0f); }\n", ShaderStage::Fragment, "f suffix"},
        {"uniform float w[2] = float[2](1.0, 2.0);\nvoid main() { gl_FragColor = vec4(w[0]); }\n",
         ShaderStage::Fragment, "initialised uniform array"},
        {"attribute vec3 a_Vertex;\nvoid main() { gl_Position = a_Vertex; }\n", ShaderStage::Vertex, "ERROR"},
    };
    for (const auto& c : refused) {
        const VeldaTest::GlslCheck check = validateGlsl120(c.source, c.stage);
        EXPECT_FALSE(check.ok) << c.source;
        EXPECT_NE(check.log.find(c.logHas), std::string::npos) << check.log;
    }
}
