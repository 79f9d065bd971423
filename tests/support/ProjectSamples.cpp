#include "ProjectSamples.h"

#include "formats/PackedData.h"

#include <random>

namespace VeldaTest {

using Velda::VeldaDocNode;

std::unique_ptr<VeldaDocNode> everyTagDocument()
{
    std::unique_ptr<VeldaDocNode> root(new VeldaDocNode(L"根"));
    const uint16_t shorts[3] = {1, 65535, 7};
    const int32_t ints[2] = {-5, 2000000000};
    const float floats[3] = {0.5f, -1.25f, 3e8f};
    const float twelve[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 4, 5, 6};
    const float triples[6] = {1, 2, 3, 4, 5, 6};
    root->addChild(new VeldaDocNode(L"byte", static_cast<uint8_t>(200)));
    root->addChild(new VeldaDocNode(L"string", std::wstring(L"水面 water")));
    root->addChild(new VeldaDocNode(L"int", static_cast<int32_t>(-42)));
    root->addChild(new VeldaDocNode(L"uint", static_cast<uint32_t>(4000000000u)));
    root->addChild(new VeldaDocNode(L"float", 2.5f));
    root->addChild(new VeldaDocNode(L"strings", std::vector<std::wstring>{L"a", L"", L"纹理 1.jpg"}));
    root->addChild(new VeldaDocNode(L"shorts", shorts, 3));
    root->addChild(new VeldaDocNode(L"ints", ints, 2));
    root->addChild(new VeldaDocNode(L"floats", floats, 3));
    root->addChild(new VeldaDocNode(L"bools", std::vector<bool>{true, false, true}));
    root->addChild(new VeldaDocNode(L"f2", 1.0f, 2.0f));
    root->addChild(new VeldaDocNode(L"f3", 1.0f, 2.0f, 3.0f));
    root->addChild(new VeldaDocNode(L"f4", 1.0f, 2.0f, 3.0f, 4.0f));
    VeldaDocNode* group = new VeldaDocNode(L"group");
    VeldaDocNode* m = new VeldaDocNode(L"m12");
    m->setFloat12(twelve);
    group->addChild(m);
    VeldaDocNode* t = new VeldaDocNode(L"triples");
    t->setFloat3Array(triples, 2);
    group->addChild(t);
    group->addChild(new VeldaDocNode());
    root->addChild(group);
    return root;
}

std::unique_ptr<VeldaDocNode> indexDocument(const std::vector<int>& materialFiles, const std::vector<int>& meshFiles,
                                            const std::vector<SampleObject>& objects, const float min[3],
                                            const float max[3])
{
    std::unique_ptr<VeldaDocNode> root(new VeldaDocNode(L"index"));
    root->addChild(new VeldaDocNode(L"ver", static_cast<int32_t>(3)));
    root->addChild(new VeldaDocNode(L"mtrls", std::vector<int32_t>(materialFiles.begin(), materialFiles.end())));
    root->addChild(new VeldaDocNode(L"meshes", std::vector<int32_t>(meshFiles.begin(), meshFiles.end())));
    VeldaDocNode* objs = new VeldaDocNode(L"objs");
    for (const SampleObject& o : objects) {
        VeldaDocNode* node = new VeldaDocNode(L"obj");
        node->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(o.id)));
        node->addChild(new VeldaDocNode(L"name", o.name));
        VeldaDocNode* mat = new VeldaDocNode(L"mat");
        mat->setFloat12(o.mat.data());
        node->addChild(mat);
        if (o.withSurfaces) {
            VeldaDocNode* surfs = new VeldaDocNode(L"surfs");
            for (const SampleSurface& s : o.surfaces) {
                VeldaDocNode* surf = new VeldaDocNode(L"surf");
                surf->addChild(new VeldaDocNode(L"mtrl", static_cast<int32_t>(s.materialId)));
                surf->addChild(new VeldaDocNode(L"mesh", static_cast<int32_t>(s.meshId)));
                surf->addChild(new VeldaDocNode(L"idx", s.name));
                surfs->addChild(surf);
            }
            node->addChild(surfs);
        }
        node->addChild(new VeldaDocNode(L"min", o.min[0], o.min[1], o.min[2]));
        node->addChild(new VeldaDocNode(L"max", o.max[0], o.max[1], o.max[2]));
        node->addChild(new VeldaDocNode(L"csh", static_cast<uint8_t>(o.castShadow ? 1 : 0)));
        objs->addChild(node);
    }
    root->addChild(objs);
    root->addChild(new VeldaDocNode(L"min", min[0], min[1], min[2]));
    root->addChild(new VeldaDocNode(L"max", max[0], max[1], max[2]));
    root->addChild(new VeldaDocNode(L"unit", static_cast<int32_t>(1000)));
    return root;
}

std::vector<unsigned char> sampleIndexFile()
{
    const std::vector<float> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    const std::vector<float> moved = {0, 1, 0, -1, 0, 0, 0, 0, 2, 10, 20, 30};
    const float lo[3] = {-1, -2, -3};
    const float hi[3] = {4, 5, 6};
    const std::vector<SampleObject> objects = {
        {7, L"墙 wall", moved, {0, 0, 0}, {1, 1, 3}, true, {{1, 10, L"s0"}, {2, 11, L"面 1"}}},
        {3, L"floor", identity, {-1, -2, -3}, {4, 5, 0}, false, {{2, 12, L"s0"}}},
        {7, L"duplicate", identity, {0, 0, 0}, {1, 1, 1}, true, {}},
        {9, L"bare", identity, {0, 0, 0}, {0, 0, 0}, true, {}, false},
    };
    return Velda::packIndex(*indexDocument({1, 2}, {1}, objects, lo, hi));
}

std::unique_ptr<VeldaDocNode> meshDocument(int id, uint16_t triangles)
{
    std::unique_ptr<VeldaDocNode> d(new VeldaDocNode(L"mesh"));
    d->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(id)));
    d->addChild(new VeldaDocNode(L"vnum", static_cast<int32_t>(3 * triangles)));
    std::vector<float> positions;
    std::vector<uint16_t> indices;
    for (uint16_t t = 0; t < triangles; ++t) {
        positions.insert(positions.end(), {0, 0, 0, 1, 0, 0, 0, 1, static_cast<float>(id + t)});
        for (uint16_t k = 0; k < 3; ++k)
            indices.push_back(static_cast<uint16_t>(3 * t + k));
    }
    VeldaDocNode* attribs = new VeldaDocNode(L"attribs");
    attribs->addChild(new VeldaDocNode(L"Position", positions));
    d->addChild(attribs);
    VeldaDocNode* sets = new VeldaDocNode(L"indices");
    sets->addChild(new VeldaDocNode(L"s0", indices.data(), static_cast<uint32_t>(indices.size())));
    d->addChild(sets);
    return d;
}

std::vector<unsigned char> sampleBundleFile()
{
    const std::unique_ptr<VeldaDocNode> a = meshDocument(10, 1), b = meshDocument(11, 1), c = meshDocument(12, 1);
    return Velda::packBundle({a.get(), b.get(), c.get()});
}

std::vector<std::vector<unsigned char>> damagedCopies(const std::vector<unsigned char>& valid, unsigned seed)
{
    std::vector<std::vector<unsigned char>> copies;
    for (size_t n = 0; n < valid.size(); ++n)
        copies.emplace_back(valid.begin(), valid.begin() + static_cast<long>(n));
    std::mt19937 random(seed);
    for (int i = 0; i < 1000; ++i) {
        std::vector<unsigned char> bad = valid;
        const size_t at = random() % bad.size();
        bad[at] = static_cast<unsigned char>(bad[at] ^ (1 + random() % 255));
        copies.push_back(bad);
    }
    return copies;
}

} // namespace VeldaTest
