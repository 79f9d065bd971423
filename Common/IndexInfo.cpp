#include "Common/IndexInfo.h"

#include "formats/PackedData.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"
#include "jobs/NumberText.h"
#include "log/Log.h"

#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>

namespace VeldaClient {

using Velda::VeldaDocNode;

const char* const kIndexParseFailure = "资源索引解析失败!";

namespace {

Velda::Vector3 readVector3(const VeldaDocNode& node)
{
    float v[3] = {0.0f, 0.0f, 0.0f};
    node.readFloats(v, 3);
    return {v[0], v[1], v[2]};
}

std::vector<std::string> readNumberNames(const VeldaDocNode& node)
{
    std::vector<std::string> names;
    const uint32_t held = node.data ? node.dataSize / 4 : 0;
    const uint32_t n = node.count < held ? node.count : held;
    names.reserve(n);
    for (uint32_t i = 0; i < n; ++i) {
        int32_t value;
        std::memcpy(&value, node.data + 4u * i, 4);
        names.push_back(Velda::numberText(static_cast<int64_t>(value)));
    }
    return names;
}

// Four rows of three: the first three are the axes, the last the translation.
Velda::Matrix4 readPlacement(const VeldaDocNode& node)
{
    float f[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    node.readFloats(f, 12);
    Velda::Matrix4 m;
    for (int row = 0; row < 4; ++row)
        m.setColumn(row, f[3 * row], f[3 * row + 1], f[3 * row + 2], row == 3 ? 1.0f : 0.0f);
    return m;
}

IndexSurface readSurface(const VeldaDocNode& node)
{
    IndexSurface surface;
    for (const VeldaDocNode* c : node.children) {
        if (c->name == L"mtrl")
            surface.materialId = c->firstInt32();
        else if (c->name == L"mesh")
            surface.meshId = c->firstInt32();
        else if (c->name == L"idx")
            surface.name = Velda::wideToSystem(c->stringValue());
    }
    return surface;
}

IndexObject readObject(const VeldaDocNode& node)
{
    IndexObject object;
    for (const VeldaDocNode* c : node.children) {
        if (c->name == L"id")
            object.id = c->firstInt32();
        else if (c->name == L"name")
            object.name = Velda::wideToSystem(c->stringValue());
        else if (c->name == L"mat")
            object.matrix = readPlacement(*c);
        else if (c->name == L"surfs")
            for (const VeldaDocNode* s : c->children)
                object.surfaces.push_back(readSurface(*s));
        else if (c->name == L"min")
            object.bounds.setMin(readVector3(*c));
        else if (c->name == L"max")
            object.bounds.setMax(readVector3(*c));
        else if (c->name == L"csh")
            object.castShadow = c->firstByte() != 0;
    }
    return object;
}

} // namespace

IndexInfo::IndexInfo(const unsigned char* data, unsigned int size)
{
    VLOG << "Start parse index info!";
    try {
        if (!data || size < Velda::kIndexHeaderSize)
            throw std::runtime_error("index shorter than its header");
        const uint32_t declared = static_cast<uint32_t>(data[0]) | (static_cast<uint32_t>(data[1]) << 8) |
                                  (static_cast<uint32_t>(data[2]) << 16) | (static_cast<uint32_t>(data[3]) << 24);
        Velda::Inflated inflated;
        std::string why;
        if (!Velda::inflateDeclared(data + Velda::kIndexHeaderSize, size - Velda::kIndexHeaderSize, declared,
                                    inflated, &why))
            throw std::runtime_error(why);
        VLOG << "Decompress file finished!";

        uint32_t consumed = static_cast<uint32_t>(inflated.produced);
        std::unique_ptr<VeldaDocNode> root(Velda::parseDocument(inflated.bytes.get(), consumed, &why));
        inflated.bytes.reset();
        if (!root)
            throw std::runtime_error(why);

        for (const VeldaDocNode* c : root->children) {
            if (c->name == L"ver") {
                data_.version = c->firstInt32();
            } else if (c->name == L"mtrls") {
                data_.materialFiles = readNumberNames(*c);
            } else if (c->name == L"meshes") {
                data_.meshFiles = readNumberNames(*c);
            } else if (c->name == L"objs") {
                // Large scenes split their objects over several groups.
                data_.objectCount += static_cast<uint32_t>(c->children.size());
                for (const VeldaDocNode* o : c->children) {
                    IndexObject object = readObject(*o);
                    data_.objects.emplace(object.id, std::move(object));  // a repeated id keeps the first
                }
            } else if (c->name == L"min") {
                data_.bounds.setMin(readVector3(*c));
            } else if (c->name == L"max") {
                data_.bounds.setMax(readVector3(*c));
            } else if (c->name == L"unit") {
                data_.unit = c->firstUInt32();
            } else if (c->name == L"props") {
                data_.hasProps = c->firstByte() != 0;
            }
        }
    } catch (const std::exception& e) {
        VLOG << "Index parse failed: " << e.what();
        // The reason rides along as the nested exception, for tools.
        std::throw_with_nested(std::runtime_error(kIndexParseFailure));
    }
    VLOG << "Parse index file finished!";
}

} // namespace VeldaClient
