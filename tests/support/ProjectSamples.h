#pragma once

#include "formats/VeldaDocNode.h"

#include <memory>
#include <string>
#include <vector>

namespace VeldaTest {

// Small, valid project files, built with the tools' clear writer and zlib.

// A document that uses every value tag, with nested children and
// non-ASCII names.
std::unique_ptr<Velda::VeldaDocNode> everyTagDocument();

struct SampleSurface {
    int materialId;
    int meshId;
    std::wstring name;
};
struct SampleObject {
    int id;
    std::wstring name;
    std::vector<float> mat;  // twelve floats
    float min[3];
    float max[3];
    bool castShadow;
    std::vector<SampleSurface> surfaces;
    bool withSurfaces = true;
};

std::unique_ptr<Velda::VeldaDocNode> indexDocument(const std::vector<int>& materialFiles,
                                                   const std::vector<int>& meshFiles,
                                                   const std::vector<SampleObject>& objects, const float min[3],
                                                   const float max[3]);

// A mesh document: "id", "vnum", a "Position" group and the 16-bit index
// set "s0" drawing `triangles` separate triangles.
std::unique_ptr<Velda::VeldaDocNode> meshDocument(int id, uint16_t triangles);

// Three objects (one id twice, one without surfaces), bundles 1 and 2.
std::vector<unsigned char> sampleIndexFile();

// A bundle of three one-triangle meshes, ids 10, 11 and 12.
std::vector<unsigned char> sampleBundleFile();

// Every proper prefix of a valid file (the empty one first), then 1000
// copies with one byte changed at a random place.
std::vector<std::vector<unsigned char>> damagedCopies(const std::vector<unsigned char>& valid, unsigned seed);

} // namespace VeldaTest
