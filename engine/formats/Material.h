#pragma once

#include "scene/Vector.h"

#include <cstdint>
#include <map>
#include <string>

namespace Velda {

// Surface properties with seven texture channels: 0, 1, 2, 6 colour; 3 the
// reflection cube; 4 normal or bump; 5 colour and alpha.
class Material {
public:
    static const int kChannels = 7;

    const std::string& getName() const { return name_; }
    void setName(const std::string& v) { name_ = v; }
    const Vector3& getEmissive() const { return emissive_; }
    // Exactly 0, 0, 0 stands for the default 1, 1, 1.
    void setEmissive(const Vector3& v);
    const Vector3& getAmbient() const { return ambient_; }
    void setAmbient(const Vector3& v) { ambient_ = v; }
    const Vector3& getDiffuse() const { return diffuse_; }
    void setDiffuse(const Vector3& v) { diffuse_ = v; }
    const Vector3& getSpecular() const { return specular_; }
    void setSpecular(const Vector3& v) { specular_ = v; }
    float getSpecularLevel() const { return specularLevel_; }
    void setSpecularLevel(float v) { specularLevel_ = v; }
    float getGlossiness() const { return glossiness_; }
    void setGlossiness(float v) { glossiness_ = v; }

    // A lookup of a missing channel inserts an empty name.
    const std::string& getTexture(int channel) { return textures_[channel]; }
    void setTexture(int channel, const std::string& name) { textures_[channel] = name; }
    const std::map<int, std::string>& textures() const { return textures_; }
    int32_t getUvSet(int channel) const;           // -1 without entry
    void setUvSet(int channel, int32_t v) { uvSets_[channel] = v; }
    float getWeight(int channel) const;            // -1 without entry
    void setWeight(int channel, float v) { weights_[channel] = v; }
    Vector3 getUvOffset(int channel) const;        // 0, 0 without entry
    void setUvOffset(int channel, float u, float v) { uvOffsets_[channel] = Vector3(u, v, 0.0f); }
    Vector3 getUvScale(int channel) const;         // 1, 1 without entry
    void setUvScale(int channel, float u, float v) { uvScales_[channel] = Vector3(u, v, 0.0f); }

    float getAlpha() const { return alpha_; }
    void setAlpha(float v) { alpha_ = v; }
    bool getBlend() const { return blend_; }
    // Also turns the depth test on and depth writing to the opposite.
    void setBlend(bool v);
    bool getDepthTest() const { return depthTest_; }
    void setDepthTest(bool v) { depthTest_ = v; }
    bool getDepthWrite() const { return depthWrite_; }
    void setDepthWrite(bool v) { depthWrite_ = v; }
    float getAlphaTestValue() const { return alphaTestValue_; }
    void setAlphaTestValue(float v) { alphaTestValue_ = v; }
    bool getTwoSide() const { return twoSide_; }
    void setTwoSide(bool v) { twoSide_ = v; }
    bool getBump() const { return bump_; }
    void setBump(bool v) { bump_ = v; }
    bool getReflective() const { return reflective_; }
    void setReflective(bool v) { reflective_ = v; }
    int32_t getAlphaMask() const { return alphaMask_; }
    void setAlphaMask(int32_t v) { alphaMask_ = v; }
    bool getAlphaTest() const { return alphaTest_; }
    void setAlphaTest(bool v) { alphaTest_ = v; }
    const Vector3& getReflectionColor() const { return reflectionColor_; }
    void setReflectionColor(const Vector3& v) { reflectionColor_ = v; }
    float getReflectionGain() const { return reflectionGain_; }
    void setReflectionGain(float v) { reflectionGain_ = v; }

private:
    std::string name_ = "defultMat";
    Vector3 emissive_{1.0f, 1.0f, 1.0f};
    Vector3 ambient_;
    Vector3 diffuse_{0.7f, 0.7f, 0.7f};
    Vector3 specular_{1.0f, 1.0f, 1.0f};
    float specularLevel_ = 0.0f;
    float glossiness_ = 0.0f;
    std::map<int, std::string> textures_;
    std::map<int, int32_t> uvSets_;
    std::map<int, float> weights_;
    std::map<int, Vector3> uvOffsets_;
    std::map<int, Vector3> uvScales_;
    float alpha_ = 1.0f;
    bool blend_ = false;
    bool depthTest_ = true;
    bool depthWrite_ = true;
    float alphaTestValue_ = 1.0f;
    bool twoSide_ = true;
    bool bump_ = false;
    bool reflective_ = false;
    int32_t alphaMask_ = 1;
    bool alphaTest_ = false;
    Vector3 reflectionColor_{1.0f, 1.0f, 1.0f};
    float reflectionGain_ = 1.0f;
};

} // namespace Velda
