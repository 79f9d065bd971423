#include "render/ShaderManager.h"
#include "scene/RenderItem.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

using Velda::RenderItem;
using Velda::shaderSection;
using Velda::shaderText;
using Velda::variantKeyOf;
using Macros = std::map<std::string, std::string>;

TEST(ShaderVariant, KeysAndMacroTablesOfTypicalItems)
{
    RenderItem empty;
    EXPECT_EQ(variantKeyOf(empty), "_0_0_0_0_0_0_0_0_0_0_NB_NC_NW_NH_NT_NS");
    EXPECT_TRUE(empty.macrosReady);
    EXPECT_EQ(empty.macroTable, (Macros{{"UNI_DCTLIGHT_NUM", "0"}, {"UNI_PTLIGHT_NUM", "0"}, {"UNI_SPOTLIGHT_NUM", "0"}}));

    // A sky item that a spot light reaches, textured through channel 0.
    RenderItem sky;
    sky.noSky = false;
    sky.spotLights.resize(1);
    sky.macroNames[0] = "UNI_TEX_0_UV";
    sky.macroValues[0] = "v_UV0";
    EXPECT_EQ(variantKeyOf(sky), "_0_0_1_1_0_0_0_0_0_0_NB_NC_NW_NH_NT_S");
    EXPECT_EQ(sky.macroTable, (Macros{{"OK_SKY", "1"},
                                      {"UNI_DCTLIGHT_NUM", "0"},
                                      {"UNI_PTLIGHT_NUM", "0"},
                                      {"UNI_SPOTLIGHT_NUM", "1"},
                                      {"UNI_TEX_0_UV", "v_UV0"}}));

    // Every switch on, two lights of each counted kind, a reflective channel 3.
    RenderItem full;
    full.directionalLights.resize(2);
    full.pointLights.resize(1);
    full.spotLights.resize(2);
    full.macroNames[3] = "UNI_TEX_3_UV";
    full.macroValues[3] = "0";
    full.macroNames[6] = "UNI_TEX_6_UV";
    full.macroValues[6] = "v_UV2";
    full.bump = full.colorRamp = full.water = full.whiteModel = full.night = true;
    EXPECT_EQ(variantKeyOf(full), "_2_1_2_0_0_0_1_0_0_1_B_C_WA_WH_T_NS");
    EXPECT_EQ(full.macroTable.at("UNI_TEX_3_UV"), "0");
    EXPECT_EQ(full.macroTable.at("UNI_TEX_6_UV"), "v_UV2");
    for (const char* flag : {"OK_BUMP", "OK_COLOR", "OK_WATER", "OK_WHITE", "OK_NIGHT"})
        EXPECT_EQ(full.macroTable.at(flag), "1") << flag;
    EXPECT_EQ(full.macroTable.count("OK_SKY"), 0u);
}

TEST(ShaderVariant, MacrosStayAfterTheirSwitchGoesOff)
{
    RenderItem item;
    item.spotLights.resize(1);
    item.night = true;
    item.macroNames[1] = "UNI_TEX_1_UV";
    item.macroValues[1] = "v_UV1";
    EXPECT_EQ(variantKeyOf(item), "_0_0_1_0_1_0_0_0_0_0_NB_NC_NW_NH_T_NS");

    // While macrosReady holds, the stored key is read and nothing is rebuilt.
    item.night = false;
    item.spotLights.clear();
    EXPECT_EQ(variantKeyOf(item), "_0_0_1_0_1_0_0_0_0_0_NB_NC_NW_NH_T_NS");

    item.macroNames[1].clear();
    item.macroNames[2] = "UNI_TEX_2_UV";
    item.macroValues[2] = "v_UV0";
    item.macrosReady = false;
    EXPECT_EQ(variantKeyOf(item), "_0_0_0_0_0_1_0_0_0_0_NB_NC_NW_NH_NT_NS");
    // Counts are replaced; switched-off macros stay in the table.
    EXPECT_EQ(item.macroTable.at("UNI_SPOTLIGHT_NUM"), "0");
    EXPECT_EQ(item.macroTable.at("OK_NIGHT"), "1");
    EXPECT_EQ(item.macroTable.at("UNI_TEX_1_UV"), "v_UV1");
    EXPECT_EQ(item.macroTable.at("UNI_TEX_2_UV"), "v_UV0");

    // A name already in the table keeps its first value.
    item.macroValues[2] = "v_UV3";
    item.macrosReady = false;
    variantKeyOf(item);
    EXPECT_EQ(item.macroTable.at("UNI_TEX_2_UV"), "v_UV0");
}

TEST(ShaderTexts, SectionIsTheTextBetweenItsMarkers)
{
    const std::string text = "#globalbegin\nvarying vec2 v;\n#globalend\n#vertexbegin\nV\n#vertexend\n"
                             "#fragmentbegin F #fragmentend";
    EXPECT_EQ(shaderSection(text, "global"), "\nvarying vec2 v;\n");
    EXPECT_EQ(shaderSection(text, "vertex"), "\nV\n");
    EXPECT_EQ(shaderSection(text, "fragment"), " F ");
    EXPECT_EQ(shaderSection("#vertexbegin only", "vertex"), "");
    EXPECT_TRUE(shaderText("Light").empty());  // names compare exactly
}
