#include "formats/ParserMT.h"

#include "assets/AssetMaterial.h"
#include "formats/Material.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include <cstring>

namespace Velda {

namespace {

Vector3 readVector3(const VeldaDocNode& node)
{
    float v[3] = {0.0f, 0.0f, 0.0f};
    node.readFloats(v, 3);
    return {v[0], v[1], v[2]};
}

// Element i of a node's raw buffer as a T, if the buffer holds it.
template <typename T>
bool element(const VeldaDocNode& node, size_t i, T& out)
{
    if (!node.data || (i + 1) * sizeof(T) > node.dataSize)
        return false;
    std::memcpy(&out, node.data + i * sizeof(T), sizeof(T));
    return true;
}

} // namespace

bool ParserMT::parse(const void* rootPointer, uint32_t, Asset* asset, int)
{
    AssetMaterial* target = static_cast<AssetMaterial*>(asset);
    const VeldaDocNode* root = static_cast<const VeldaDocNode*>(rootPointer);
    Material* material = new Material();
    int32_t id = -1;
    bool on[Material::kChannels] = {};
    if (root) {
        for (const VeldaDocNode* child : root->children) {
            const VeldaDocNode& c = *child;
            const std::wstring& n = c.name;
            if (n == L"id") {
                id = c.firstInt32();
            } else if (n == L"name") {
                material->setName(wideToSystem(c.stringValue()));
            } else if (n == L"emi") {
                material->setEmissive(readVector3(c));
            } else if (n == L"amb") {
                material->setAmbient(readVector3(c));
            } else if (n == L"dif") {
                material->setDiffuse(readVector3(c));
            } else if (n == L"spe") {
                material->setSpecular(readVector3(c));
            } else if (n == L"glo") {
                material->setGlossiness(c.firstFloat());
            } else if (n == L"spl") {
                material->setSpecularLevel(c.firstFloat());
            } else if (n == L"a") {
                material->setAlpha(c.firstFloat());
            } else if (n == L"texon") {
                for (int i = 0; i < Material::kChannels; ++i) {
                    uint8_t b = 0;
                    on[i] = element(c, static_cast<size_t>(i), b) && b != 0;
                }
            } else if (n == L"tex") {
                for (int i = 0; i < Material::kChannels; ++i)
                    if (on[i])
                        material->setTexture(i, wideToSystem(c.stringValue(static_cast<size_t>(i))));
            } else if (n == L"texw") {
                for (int i = 0; i < Material::kChannels; ++i) {
                    float w;
                    if (on[i] && element(c, static_cast<size_t>(i), w))
                        material->setWeight(i, w);
                }
            } else if (n == L"uv") {
                for (int i = 0; i < Material::kChannels; ++i) {
                    int32_t set;
                    if (on[i] && element(c, static_cast<size_t>(i), set))
                        material->setUvSet(i, set);
                }
            } else if (n == L"uvoff" || n == L"uvscl") {
                for (int i = 0; i < Material::kChannels; ++i) {
                    float u, v;
                    if (!on[i] || !element(c, 2u * i, u) || !element(c, 2u * i + 1, v))
                        continue;
                    if (n == L"uvoff")
                        material->setUvOffset(i, u, v);
                    else
                        material->setUvScale(i, u, v);
                }
            } else if (n == L"amask") {
                material->setAlphaMask(c.firstInt32());
            } else if (n == L"bump") {
                material->setBump(c.firstByte() != 0);
            } else if (n == L"blend") {
                material->setBlend(c.firstByte() != 0);
            } else if (n == L"refle") {
                material->setReflective(c.firstByte() != 0);
            } else if (n == L"reflec") {
                material->setReflectionColor(readVector3(c));
            } else if (n == L"refleg") {
                material->setReflectionGain(c.firstFloat());
            } else if (n == L"atest") {
                material->setAlphaTest(c.firstByte() != 0);
            } else if (n == L"atestval") {
                material->setAlphaTestValue(c.firstFloat());
            } else if (n == L"twoside") {
                material->setTwoSide(c.firstByte() != 0);
            }
        }
    }
    target->setMaterial(material, id);
    return true;
}

} // namespace Velda
