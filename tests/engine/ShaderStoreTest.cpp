#include "render/GlName.h"
#include "render/ShaderManager.h"
#include "render/ShaderProgram.h"
#include "scene/Matrix4.h"
#include "scene/RenderItem.h"

#include "GLHarness.h"
#include "GlslValidator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using Velda::RenderItem;
using Velda::ShaderManager;
using Velda::ShaderProgram;
using VeldaTest::GLTest;
using VeldaTest::ShaderStage;

namespace {

const char* const kCatalogue[] = {"light", "blur", "flatTex", "shadow", "renderLine", "postProcess",
                                  "separateBloom", "gaussianBlur", "displayScene", "textureLuminance",
                                  "normalInfo", "positionInfo", "SSAO", "blurSSAO", "rederSSAOScene"};

// Linked, free of GL errors, both stages strict GLSL 1.20 exactly as compiled,
// sampler units distinct and inside the driver's range.
void expectUsable(const ShaderProgram* program, const std::string& what)
{
    ASSERT_NE(program, nullptr) << what;
    GLint linked = 0;
    glGetProgramiv(program->program(), GL_LINK_STATUS, &linked);
    std::vector<char> log(4096, '\0');
    glGetProgramInfoLog(program->program(), static_cast<GLsizei>(log.size()), nullptr, log.data());
    EXPECT_TRUE(linked) << what << "\n" << log.data();
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR)) << what;

    const VeldaTest::GlslCheck vertex = VeldaTest::validateGlsl120(program->vertexSource(), ShaderStage::Vertex);
    EXPECT_TRUE(vertex.ok) << what << " vertex\n" << vertex.log;
    const VeldaTest::GlslCheck fragment =
        VeldaTest::validateGlsl120(program->fragmentSource(), ShaderStage::Fragment);
    EXPECT_TRUE(fragment.ok) << what << " fragment\n" << fragment.log;

    GLint maxUnits = 0;
    glGetIntegerv(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, &maxUnits);
    std::set<int> units;
    for (const auto& sampler : program->samplers()) {
        EXPECT_TRUE(units.insert(sampler.second).second) << what << ": " << sampler.first << " shares a unit";
        EXPECT_LT(sampler.second, maxUnits) << what << ": " << sampler.first;
    }
}

RenderItem spotLit()
{
    RenderItem item;
    item.spotLights.resize(1);
    return item;
}

void setChannel(RenderItem& item, int channel, const std::string& value)
{
    item.macroNames[channel] = "UNI_TEX_" + std::to_string(channel) + "_UV";
    item.macroValues[channel] = value;
}

} // namespace

TEST_F(GLTest, EveryCatalogueProgramCompilesAndLinks)
{
    ShaderManager store(nullptr);
    for (const char* name : kCatalogue)
        expectUsable(store.acquireProgram(name, nullptr, nullptr), name);
    ASSERT_EQ(store.programs().size(), 15u);
    EXPECT_EQ(store.programs().count("SSAO-"), 1u);
    EXPECT_EQ(store.acquireProgram("SSAO", nullptr, nullptr), store.programs().at("SSAO-"));
}

TEST_F(GLTest, EveryLightVariantInUseCompilesAndLinks)
{
    std::vector<std::pair<std::string, RenderItem>> variants;
    for (int channel = 0; channel < RenderItem::kChannels; ++channel) {
        RenderItem item = spotLit();
        setChannel(item, channel, channel == 3 ? "0" : "v_UV" + std::to_string(channel % 4));
        variants.emplace_back("channel " + std::to_string(channel), item);
    }
    const std::pair<const char*, bool RenderItem::*> flags[] = {
        {"bump", &RenderItem::bump},     {"colour ramp", &RenderItem::colorRamp}, {"water", &RenderItem::water},
        {"white", &RenderItem::whiteModel}, {"night", &RenderItem::night}};
    for (const auto& flag : flags) {
        RenderItem item = spotLit();
        item.*flag.second = true;
        variants.emplace_back(flag.first, item);
    }
    RenderItem skyFlag = spotLit();
    skyFlag.noSky = false;
    variants.emplace_back("sky flag", skyFlag);
    variants.emplace_back("one spot light", spotLit());

    // The sky: unlit, textured through channel 0.
    RenderItem sky;
    sky.noSky = false;
    setChannel(sky, 0, "v_UV0");
    variants.emplace_back("sky", sky);

    // What the scene's materials make: a textured, ramped surface, and from
    // it reflective glass at night, water, bump, alpha test, the white view.
    RenderItem textured = spotLit();
    setChannel(textured, 0, "v_UV0");
    textured.colorRamp = true;
    variants.emplace_back("textured", textured);
    const struct {
        const char* label;
        int channel;
        const char* value;
        bool RenderItem::*flag;
    } materials[] = {{"glass at night", 3, "0", &RenderItem::night},
                     {"water", 2, "v_UV1", &RenderItem::water},
                     {"bumped", 4, "v_UV1", &RenderItem::bump},
                     {"alpha tested", 5, "v_UV0", &RenderItem::colorRamp},
                     {"white", 6, "v_UV2", &RenderItem::whiteModel}};
    for (const auto& material : materials) {
        RenderItem item = textured;
        setChannel(item, material.channel, material.value);
        item.*material.flag = true;
        variants.emplace_back(material.label, item);
    }

    // Every light count with every channel and switch on.
    for (int dct = 0; dct <= 2; ++dct)
        for (int pt = 0; pt <= 1; ++pt)
            for (int spot = 0; spot <= 2; ++spot) {
                RenderItem all;
                all.directionalLights.resize(dct);
                all.pointLights.resize(pt);
                all.spotLights.resize(spot);
                for (int channel = 0; channel < RenderItem::kChannels; ++channel)
                    setChannel(all, channel, channel == 3 ? "0" : "v_UV" + std::to_string(channel % 4));
                all.bump = all.colorRamp = all.water = all.night = true;
                variants.emplace_back("lights " + std::to_string(dct) + std::to_string(pt) + std::to_string(spot), all);
            }

    ShaderManager store(nullptr);
    for (auto& variant : variants)
        expectUsable(store.acquireProgram("light", nullptr, &variant.second), variant.first);
    EXPECT_EQ(store.programs().size(), variants.size());
}

TEST_F(GLTest, ReviewVariantsAndTheIdPassCompile)
{
    // The review tools' switch on the scene's four programs, with the
    // switches that change what the included part meets; the id pass and
    // its vertex points come with it always.
    ShaderManager store(nullptr);
    RenderItem textured = spotLit();
    setChannel(textured, 0, "v_UV0");
    textured.review = true;
    RenderItem white = textured;
    white.whiteModel = true;
    RenderItem plain = spotLit();
    for (const char* name : {"light", "shadow", "positionInfo", "normalInfo"}) {
        for (RenderItem* item : {&textured, &white}) {
            ShaderProgram* program = store.acquireProgram(name, nullptr, item);
            expectUsable(program, std::string(name) + " review");
            EXPECT_TRUE(program->hasUniform("u_ObjectStateSize")) << name;
            EXPECT_TRUE(program->hasAttribute("a_ObjectIndex")) << name;
        }
        // Without the switch the included part leaves nothing behind.
        ShaderProgram* program = store.acquireProgram(name, nullptr, &plain);
        EXPECT_FALSE(program->hasUniform("u_ObjectStateSize")) << name;
        EXPECT_EQ(program->vertexSource().find("#include"), std::string::npos) << name;
    }
    for (const char* name : {"pick", "pickPoint"})
        expectUsable(store.acquireProgram(name, nullptr, nullptr), name);
    EXPECT_TRUE(store.acquireProgram("light", nullptr, &textured)->hasUniform("u_SectionMin"));

    // Switched off again, the item's key and table are the plain ones.
    textured.review = false;
    textured.macrosReady = false;
    EXPECT_EQ(Velda::variantKeyOf(textured).find("_R"), std::string::npos);
    EXPECT_EQ(textured.macroTable.count("OK_REVIEW"), 0u);
}

TEST_F(GLTest, ReflectionKeepsArrayBaseNamesAndOnlyLiveUniforms)
{
    ShaderManager store(nullptr);
    RenderItem bumpOnly = spotLit();
    setChannel(bumpOnly, 4, "v_UV1");
    ShaderProgram* light = store.acquireProgram("light", nullptr, &bumpOnly);
    glUseProgram(light->program());
    EXPECT_TRUE(light->hasUniform("u_Uniform"));
    EXPECT_FALSE(light->hasUniform("u_Uniform[0]"));
    EXPECT_TRUE(light->hasAttribute("a_Vertex"));

    // The whole block arrives through the base name (the driver may trim the
    // array behind its last used entry, 40).
    std::vector<float> block(64 * 4);
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<float>(i);
    light->setVec4Array("u_Uniform", 64, block.data());
    float shadowEntry[4] = {};
    glGetUniformfv(light->program(), glGetUniformLocation(light->program(), "u_Uniform[40]"), shadowEntry);
    EXPECT_EQ(shadowEntry[3], 163.0f);

    // u_Tex4 is declared for the bump branch that samples nothing: the
    // compiler drops it, and its setter touches no GL state.
    EXPECT_FALSE(light->hasUniform("u_Tex4"));
    EXPECT_EQ(light->samplers().count("u_Tex4"), 0u);
    glActiveTexture(GL_TEXTURE5);
    light->setTexture2D("u_Tex4", 1, GL_LINEAR, GL_REPEAT);
    light->setTexture1D("u_Tex4", 1, GL_LINEAR, GL_REPEAT);
    light->setTextureCube("u_Tex4", 1);
    light->setFloat("u_Tex4", 1.0f);
    light->setMatrix("nothing", Velda::Matrix4());
    light->setAttributeArray("a_Nothing", block.data(), 0, 2, 4);
    GLint active = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    EXPECT_EQ(active, GL_TEXTURE5);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    ShaderProgram* ssao = store.acquireProgram("SSAO", nullptr, nullptr);
    EXPECT_TRUE(ssao->hasUniform("samples"));
    EXPECT_FALSE(ssao->hasUniform("samples[0]"));
    EXPECT_EQ(ssao->samplers().size(), 3u);
    EXPECT_EQ(ssao->attributes().size(), 2u);
}

TEST_F(GLTest, ItemsWithOneKeyShareOneProgram)
{
    ShaderManager store(nullptr);
    RenderItem a = spotLit();
    RenderItem b = spotLit();
    setChannel(a, 0, "v_UV0");
    setChannel(b, 0, "v_UV0");
    ShaderProgram* first = store.acquireProgram("light", nullptr, &a);
    EXPECT_EQ(store.acquireProgram("light", nullptr, &b), first);
    EXPECT_EQ(store.programs().count("light-_0_0_1_1_0_0_0_0_0_0_NB_NC_NW_NH_NT_NS"), 1u);

    b.whiteModel = true;
    b.macrosReady = false;
    EXPECT_NE(store.acquireProgram("light", nullptr, &b), first);
    // Another program name with the same item is another program.
    EXPECT_NE(store.acquireProgram("normalInfo", nullptr, &a), first);
    EXPECT_EQ(store.programs().size(), 3u);
}

TEST_F(GLTest, FailingCompileReportsTheWholeSourceAndStoresNothing)
{
    ShaderManager store(nullptr);
    RenderItem item = spotLit();
    setChannel(item, 0, "v_UV-1");  // a channel without a UV set
    item.water = true;
    for (int attempt = 0; attempt < 2; ++attempt) {
        try {
            store.acquireProgram("light", nullptr, &item);
            FAIL() << "compiled a shader that names no varying";
        } catch (const std::logic_error& error) {
            const std::string text = error.what();
            EXPECT_EQ(text.rfind("#version 120 \n", 0), 0u);
            for (const auto& macro : item.macroTable)
                EXPECT_NE(text.find("#define " + macro.first + " " + macro.second + "\n"), std::string::npos)
                    << macro.first;
            const size_t separator = text.find(ShaderProgram::kErrorSeparator);
            ASSERT_NE(separator, std::string::npos);
            EXPECT_NE(text.find("void main()"), std::string::npos);
            EXPECT_GT(text.size(), separator + 76) << "empty info log";
        }
        EXPECT_TRUE(store.programs().empty());
    }
    // An unknown name compiles an empty text, which the compiler rejects.
    EXPECT_THROW(store.acquireProgram("nothing", nullptr, nullptr), std::logic_error);
    EXPECT_TRUE(store.programs().empty());
    EXPECT_EQ(std::string(ShaderProgram::kErrorSeparator), std::string(74, '/') + " \n");
}

// A float colour target of n by n pixels, bound and cleared on creation.
struct FloatTarget {
    explicit FloatTarget(int n, float clear = 0.0f) : size(n)
    {
        glBindTexture(GL_TEXTURE_2D, texture.get());
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, n, n, 0, GL_RGBA, GL_FLOAT, nullptr);
        glBindFramebuffer(GL_FRAMEBUFFER, frame.get());
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture.get(), 0);
        glViewport(0, 0, n, n);
        glClearColor(clear, clear, clear, clear);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    std::vector<float> read() const
    {
        std::vector<float> pixels(static_cast<size_t>(size * size * 4), -9.0f);
        glReadPixels(0, 0, size, size, GL_RGBA, GL_FLOAT, pixels.data());
        return pixels;
    }
    int size;
    Velda::GlName texture = Velda::GlName::makeTexture();
    Velda::GlName frame = Velda::GlName::makeFramebuffer();
};

Velda::GlName floatTexture(int n, const float* texels)
{
    Velda::GlName texture = Velda::GlName::makeTexture();
    glBindTexture(GL_TEXTURE_2D, texture.get());
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, n, n, 0, GL_RGBA, GL_FLOAT, texels);
    return texture;
}

// The pixel quad of the full-screen passes over a 1 by 1 target, from client memory.
void drawPixelQuad(ShaderProgram* program)
{
    static const float quad[] = {0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 1, 0, 1, 0, 1, 1};
    program->setMatrix("u_ProjMat", Velda::Matrix4::orthographic(0, 1, 1, 0, 0.1f, 100.0f));
    program->setAttributeArray("a_Vertex", quad, 0, 2, 4);
    program->setAttributeArray("a_UV", quad, 2, 2, 4);
    glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
}

TEST_F(GLTest, BrightFilterAndFinalPictureKeepTheirEdges)
{
    ShaderManager store(nullptr);
    const float red[4] = {2.0f, 0.0f, 0.0f, 0.5f};
    const Velda::GlName scene = floatTexture(1, red);
    const float threshold = 2.0f * 0.2125f;

    // At exactly the threshold nothing is written; just below it, the colour with alpha 1.
    ShaderProgram* bright = store.acquireProgram("separateBloom", nullptr, nullptr);
    for (const float below : {0.0f, 0.001f}) {
        const FloatTarget target(1, 7.0f);
        glUseProgram(bright->program());
        bright->setTexture2D("textureSource", scene.get(), GL_LINEAR, GL_CLAMP_TO_EDGE);
        const float params[4] = {threshold - below, 0, 0, 0};
        bright->setVec4Array("params", 1, params);
        drawPixelQuad(bright);
        const std::vector<float> expected = below > 0 ? std::vector<float>{2, 0, 0, 1} : std::vector<float>(4, 7.0f);
        EXPECT_EQ(target.read(), expected) << "threshold less " << below;
    }

    // Bloom at 0 turns exposure and curve off: the scene as it is, alpha 1.
    ShaderProgram* final = store.acquireProgram("postProcess", nullptr, nullptr);
    const FloatTarget target(1);
    glUseProgram(final->program());
    final->setTexture2D("sceneTexture", scene.get(), GL_LINEAR, GL_CLAMP_TO_EDGE);
    const float params[4] = {1.2f, 0.0f, 0.5f, 0};
    final->setVec4Array("params", 1, params);
    drawPixelQuad(final);
    EXPECT_EQ(target.read(), (std::vector<float>{2, 0, 0, 1}));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

// One fragment at (0.5, 0.5, 0) facing up, with every parameter in u_Uniform.
TEST_F(GLTest, LightShaderLitAndUnlitForms)
{
    std::vector<float> block(64 * 4, 0.0f);
    const auto entry = [&](int i, float x, float y, float z, float w) {
        block[4 * i] = x, block[4 * i + 1] = y, block[4 * i + 2] = z, block[4 * i + 3] = w;
    };
    entry(2, 0.5f, 0.25f, 1.0f, 0.75f);    // diffuse, alpha
    entry(15, 2.0f, 2.0f, 2.0f, 1.0f);     // spot light colour
    entry(16, 0.5f, 10.5f, 10.0f, 0.0f);   // spot light position: 45 degrees off the normal
    entry(33, 0.1f, 0.2f, 0.3f, 0.0f);     // sky colour
    entry(35, 1.0f, 2.0f, 3.0f, 0.0f);     // sun colour
    entry(36, 0.5f, 0.5f, 0.5f, 0.0f);     // shade colour
    entry(37, 0.0f, 0.0f, 0.0f, 0.3f);     // glow level
    entry(39, 0.5f, 1.3f, 0.0f, 0.0f);     // ambient level, sun level, shadow lift
    entry(40, 1.0f, 1024.0f, 1024.0f, 0);  // shadow shade 1: no shadow

    ShaderManager store(nullptr);
    const auto draw = [&](RenderItem& item) {
        const FloatTarget target(1);
        ShaderProgram* light = store.acquireProgram("light", nullptr, &item);
        glUseProgram(light->program());
        const Velda::Matrix4 identity;
        light->setMatrix("worldMat", identity);
        light->setMatrix("worldMatN", identity);
        light->setMatrix("lightSpaceMatrix", identity);
        light->setMatrix("viewProjMat", Velda::Matrix4::orthographic(0, 1, 1, 0, -1, 1));
        light->setVec4Array("u_Uniform", 64, block.data());
        static const float square[] = {0, 0, 0, 1, 1, 1, 1, 0};
        light->setAttributeArray("a_Vertex", square, 0, 2, 2);
        if (light->hasAttribute("a_Normal")) {  // the unlit form has none
            const GLuint normal = static_cast<GLuint>(light->attributes().at("a_Normal"));
            glDisableVertexAttribArray(normal);
            glVertexAttrib3f(normal, 0.0f, 0.0f, 1.0f);
        }
        glDrawArrays(GL_TRIANGLE_FAN, 0, 4);
        return target.read();
    };

    // Sun: mix(shade, sun, cos 45) x diffuse x light colour x sun level, plus
    // the ambient of a face looking straight up: sky colour x ambient level x diffuse.
    RenderItem lit = spotLit();
    const float t = std::sqrt(0.5f);
    const float diffuse[3] = {0.5f, 0.25f, 1.0f}, sun[3] = {1, 2, 3}, sky[3] = {0.1f, 0.2f, 0.3f};
    std::vector<float> pixel = draw(lit);
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(pixel[c], (0.5f + (sun[c] - 0.5f) * t) * diffuse[c] * 2.0f * 1.3f + sky[c] * 0.5f * diffuse[c], 1e-4)
            << "component " << c;
    EXPECT_FLOAT_EQ(pixel[3], 0.75f);

    // Shadow shade 0 leaves the (empty, all-shadow) map at full strength; a lift of 1 removes it.
    entry(40, 0.0f, 1024.0f, 1024.0f, 0);
    EXPECT_EQ(draw(lit), (std::vector<float>{0, 0, 0, 0.75f}));
    entry(39, 0.5f, 1.3f, 1.0f, 0.0f);
    EXPECT_NEAR(draw(lit)[0], pixel[0], 1e-5);

    // No lights, as the sky: diffuse x glow level, alpha 1; the white view fixes the colour.
    RenderItem unlit;
    EXPECT_EQ(draw(unlit), (std::vector<float>{0.5f * 0.3f, 0.25f * 0.3f, 1.0f * 0.3f, 1.0f}));
    RenderItem white;
    white.whiteModel = true;
    pixel = draw(white);
    EXPECT_NEAR(pixel[0], 138.0f / 255.0f * 0.3f, 1e-6);
    EXPECT_NEAR(pixel[2], 208.0f / 255.0f * 0.3f, 1e-6);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}
