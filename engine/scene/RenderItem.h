#pragma once

#include "formats/Geometry.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Velda {

class AABB3;
class DctLight;
class IndexBufferObject;
class Material;
class Matrix4;
class PtLight;
class SpotLight;

// The record that every pass draws: one index set of a mesh with its
// material, its matrices and the switches that pick its shader variant.
// Drawables fill it; the renderer reads it.
struct RenderItem {
    static const int kChannels = 7;

    RenderItem() : macroTable{{"UNI_DCTLIGHT_NUM", "0"}, {"UNI_PTLIGHT_NUM", "0"}, {"UNI_SPOTLIGHT_NUM", "0"}} {}

    std::string macroNames[kChannels];
    std::string macroValues[kChannels];
    bool bump = false;
    bool noSky = true;
    bool water = false;
    bool colorRamp = false;
    bool night = false;
    bool noMaterial = false;
    bool sky = false;
    bool whiteModel = false;
    bool merged = false;  // a batch of several objects, baked into world space
    // The review tools' variant: per-object hiding and tint, the section box.
    bool review = false;
    // The owner's 1-based place among the scene's meshes; 0 for the sky and
    // for batches, whose vertices carry it instead.
    uint32_t objectIndex = 0;

    const Layout* layout = nullptr;
    const IndexBufferObject* indexBuffer = nullptr;
    const std::vector<unsigned char>* indexData = nullptr;
    int indexWidth = 0;  // 0: 16-bit indices
    uint32_t firstIndex = 0;
    uint32_t indexCount = 0;

    Material* material = nullptr;
    Matrix4* transform = nullptr;
    Matrix4* transformTwin = nullptr;
    Matrix4* normalMatrix = nullptr;
    Matrix4* normalMatrixTwin = nullptr;
    AABB3* box = nullptr;

    std::vector<DctLight*> directionalLights;
    std::vector<PtLight*> pointLights;
    std::vector<SpotLight*> spotLights;

    bool castShadow = false;
    bool macrosReady = false;
    // Names once added stay: a flag switched off keeps its macro.
    std::map<std::string, std::string> macroTable;
    std::string variantKey;
};

using RenderList = std::vector<RenderItem*>;

} // namespace Velda
