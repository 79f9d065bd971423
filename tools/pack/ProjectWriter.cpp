#include "ProjectWriter.h"

#include "PackError.h"
#include "TextureStore.h"

#include "formats/PackedData.h"
#include "formats/ProjectProps.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"
#include "jobs/FileHelpers.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numeric>
#include <unistd.h>

namespace VeldaPack {

using Velda::VeldaDocNode;
namespace fs = std::filesystem;

namespace {

std::wstring wide(const std::string& utf8)
{
    return Velda::utf8ToWide(utf8.c_str());
}

// Documents written up to the cap, then packed into one bundle file. Each
// is written once: its bytes both measure it and go into the bundle.
class BundleSink {
public:
    BundleSink(std::string folder, std::string extension, uint64_t cap)
        : folder_(std::move(folder)), extension_(std::move(extension)), cap_(cap) {}

    void add(const VeldaDocNode& doc)
    {
        const std::vector<unsigned char> bytes = Velda::writeDocumentClear(doc);
        if (documents_ > 0 && (plain_.size() + bytes.size() > cap_ || documents_ >= 32767))
            flush();
        plain_.insert(plain_.end(), bytes.begin(), bytes.end());
        ++documents_;
    }
    void flush()
    {
        if (documents_ == 0)
            return;
        const std::vector<unsigned char> file = Velda::packBundleBytes(documents_, plain_);
        const int number = static_cast<int>(numbers_.size()) + 1;
        const std::string path = folder_ + "/" + std::to_string(number) + extension_;
        if (!Velda::writeFile(path, file.data(), file.size()))
            throw PackError("cannot write " + path);
        bytes_ += file.size();
        numbers_.push_back(number);
        plain_.clear();
        documents_ = 0;
    }
    const std::vector<int32_t>& numbers() const { return numbers_; }
    uint64_t bytes() const { return bytes_; }

private:
    std::string folder_, extension_;
    uint64_t cap_;
    std::vector<unsigned char> plain_;
    size_t documents_ = 0;
    std::vector<int32_t> numbers_;
    uint64_t bytes_ = 0;
};

std::unique_ptr<VeldaDocNode> meshDocument(uint32_t id, const PackMesh& m)
{
    std::unique_ptr<VeldaDocNode> d(new VeldaDocNode(L"mesh"));
    const uint32_t vertices = m.vertexCount();
    d->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(id)));
    d->addChild(new VeldaDocNode(L"vnum", static_cast<int32_t>(vertices)));
    d->addChild(new VeldaDocNode(L"fnum", static_cast<int32_t>(m.triangleCount())));
    VeldaDocNode* attribs = new VeldaDocNode(L"attribs");
    attribs->addChild(new VeldaDocNode(L"Position", m.positions));
    attribs->addChild(new VeldaDocNode(L"Normal", m.normals));
    if (!m.uvs.empty())
        attribs->addChild(new VeldaDocNode(L"UV0", m.uvs));
    d->addChild(attribs);
    VeldaDocNode* indices = new VeldaDocNode(L"indices");
    if (vertices <= 65535) {
        std::vector<uint16_t> small(m.indices.begin(), m.indices.end());
        indices->addChild(new VeldaDocNode(L"s0", small.data(), static_cast<uint32_t>(small.size())));
    } else {
        std::vector<int32_t> wide(m.indices.begin(), m.indices.end());
        indices->addChild(new VeldaDocNode(L"s0", wide));
    }
    d->addChild(indices);
    return d;
}

std::unique_ptr<VeldaDocNode> materialDocument(uint32_t id, const PackMaterial& m, const StoredTexture& texture)
{
    std::unique_ptr<VeldaDocNode> d(new VeldaDocNode(L"mtrl"));
    d->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(id)));
    d->addChild(new VeldaDocNode(L"name", wide(m.name)));
    d->addChild(new VeldaDocNode(L"dif", m.diffuse[0], m.diffuse[1], m.diffuse[2]));
    if (m.hasEmissive)
        d->addChild(new VeldaDocNode(L"emi", m.emissive[0], m.emissive[1], m.emissive[2]));
    if (m.hasSpecular)
        d->addChild(new VeldaDocNode(L"spe", m.specular[0], m.specular[1], m.specular[2]));
    if (m.hasGlossiness)
        d->addChild(new VeldaDocNode(L"glo", m.glossiness));
    const bool blended = m.blend || m.alpha < 1.0f || (m.alphaMode == 2 && texture.alpha);
    if (m.alpha < 1.0f)
        d->addChild(new VeldaDocNode(L"a", m.alpha));
    if (blended)
        d->addChild(new VeldaDocNode(L"blend", static_cast<uint8_t>(1)));
    const bool cutOut = m.alphaMode == 1 && texture.alpha;
    // The lit shader discards what is less opaque than this value (1 unless
    // set), so a blended surface must lower it to be drawn at all.
    if (blended)
        d->addChild(new VeldaDocNode(L"atestval", 0.0f));
    else if (cutOut)
        d->addChild(new VeldaDocNode(L"atestval", m.alphaCutoff));
    if (!texture.name.empty()) {
        const int channel = texture.alpha && m.alphaMode != 0 ? 5 : 0;
        std::vector<uint8_t> on(7, 0);
        std::vector<std::wstring> names(7);
        float weights[7] = {1, 1, 1, 1, 1, 1, 1};
        int32_t uv[7] = {-1, -1, -1, -1, -1, -1, -1};
        float offsets[14] = {}, scales[14];
        std::fill(scales, scales + 14, 1.0f);
        on[channel] = 1;
        names[channel] = wide(texture.name);
        uv[channel] = m.uvSet;
        offsets[2 * channel] = m.uvOffset[0];
        offsets[2 * channel + 1] = m.uvOffset[1];
        scales[2 * channel] = m.uvScale[0];
        scales[2 * channel + 1] = m.uvScale[1];
        d->addChild(new VeldaDocNode(L"texon", on));
        d->addChild(new VeldaDocNode(L"tex", names));
        d->addChild(new VeldaDocNode(L"texw", weights, 7));
        d->addChild(new VeldaDocNode(L"uv", uv, 7));
        d->addChild(new VeldaDocNode(L"uvoff", offsets, 14));
        d->addChild(new VeldaDocNode(L"uvscl", scales, 14));
    }
    return d;
}

std::unique_ptr<VeldaDocNode> objectNode(uint32_t id, const PackObject& o)
{
    std::unique_ptr<VeldaDocNode> node(new VeldaDocNode(L"obj"));
    node->addChild(new VeldaDocNode(L"id", static_cast<int32_t>(id)));
    node->addChild(new VeldaDocNode(L"name", wide(o.name)));
    float rows[12];
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 3; ++r)
            rows[3 * c + r] = o.matrix[4 * c + r];
    VeldaDocNode* mat = new VeldaDocNode(L"mat");
    mat->setFloat12(rows);
    node->addChild(mat);
    VeldaDocNode* surfs = new VeldaDocNode(L"surfs");
    VeldaDocNode* surf = new VeldaDocNode(L"surf");
    surf->addChild(new VeldaDocNode(L"mtrl", static_cast<int32_t>(o.material)));
    surf->addChild(new VeldaDocNode(L"mesh", static_cast<int32_t>(o.mesh)));
    surf->addChild(new VeldaDocNode(L"idx", std::wstring(L"s0")));
    surfs->addChild(surf);
    node->addChild(surfs);
    node->addChild(new VeldaDocNode(L"min", o.min[0], o.min[1], o.min[2]));
    node->addChild(new VeldaDocNode(L"max", o.max[0], o.max[1], o.max[2]));
    node->addChild(new VeldaDocNode(L"csh", static_cast<uint8_t>(1)));
    return node;
}

float diagonal(const PackObject& o)
{
    const float dx = o.max[0] - o.min[0], dy = o.max[1] - o.min[1], dz = o.max[2] - o.min[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

} // namespace

std::string PackReport::line() const
{
    char text[512];
    std::snprintf(text, sizeof text,
                  "objects %llu, surfaces %llu, meshes %llu, materials %llu, textures %llu, triangles %llu, bytes %llu"
                  " (%llu .mt and %llu .me bundles, %llu meshes split, %llu textures unreadable, %.1f s)",
                  static_cast<unsigned long long>(objects), static_cast<unsigned long long>(surfaces),
                  static_cast<unsigned long long>(meshes), static_cast<unsigned long long>(materials),
                  static_cast<unsigned long long>(textures), static_cast<unsigned long long>(triangles),
                  static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(bundlesMt),
                  static_cast<unsigned long long>(bundlesMe), static_cast<unsigned long long>(splitMeshes),
                  static_cast<unsigned long long>(texturesFailed), seconds);
    std::string line = text;
    line += ", props for " + std::to_string(entries) + " source objects";
    if (!note.empty())
        line += "; " + note;
    return line;
}

PackReport ProjectWriter::write(PackScene& scene, const std::string& folder, const PackOptions& options)
{
    const auto start = std::chrono::steady_clock::now();
    if (scene.objects.empty() || scene.meshCount == 0)
        throw PackError("the model holds no triangles");
    std::error_code ec;
    if (fs::exists(folder, ec))
        throw PackError(folder + " exists already");
    const std::string temporary = folder + ".partial-" + std::to_string(getpid());
    fs::remove_all(temporary, ec);
    if (!fs::create_directories(temporary + "/texs", ec))
        throw PackError("cannot create " + temporary + ": " + ec.message());

    try {
        PackReport report;
        report.splitMeshes = scene.splitMeshes;

        // Meshes in the order of their largest user, largest first.
        std::vector<float> reach(scene.meshCount, 0.0f);
        for (const PackObject& o : scene.objects)
            reach[o.mesh] = std::max(reach[o.mesh], diagonal(o));
        std::vector<uint32_t> meshOrder(scene.meshCount);
        std::iota(meshOrder.begin(), meshOrder.end(), 0u);
        std::stable_sort(meshOrder.begin(), meshOrder.end(), [&](uint32_t a, uint32_t b) { return reach[a] > reach[b]; });
        std::vector<uint32_t> meshId(scene.meshCount);
        for (uint32_t i = 0; i < scene.meshCount; ++i)
            meshId[meshOrder[i]] = i;

        // Objects follow their meshes; materials are numbered by first use.
        std::vector<size_t> objectOrder(scene.objects.size());
        std::iota(objectOrder.begin(), objectOrder.end(), size_t(0));
        std::stable_sort(objectOrder.begin(), objectOrder.end(), [&](size_t a, size_t b) {
            return meshId[scene.objects[a].mesh] < meshId[scene.objects[b].mesh];
        });
        std::vector<int64_t> materialId(scene.materials.size(), -1);
        std::vector<uint32_t> materialOrder;
        for (size_t i : objectOrder) {
            const uint32_t m = scene.objects[i].material;
            if (materialId[m] < 0) {
                materialId[m] = static_cast<int64_t>(materialOrder.size());
                materialOrder.push_back(m);
            }
        }

        // A material's texture, or null when its index names none.
        const auto textureOf = [&scene](const PackMaterial& material) -> const PackTexture* {
            const int t = material.texture;
            return t >= 0 && t < static_cast<int>(scene.textures.size()) ? &scene.textures[static_cast<size_t>(t)]
                                                                        : nullptr;
        };
        options.progress(0.0, "write");
        TextureStore textures(temporary + "/texs");
        std::vector<std::pair<int, const PackTexture*>> used;
        for (uint32_t m : materialOrder)
            if (const PackTexture* texture = textureOf(scene.materials[m]))
                used.emplace_back(scene.materials[m].texture, texture);
        textures.storeAll(used);  // on all cores; the loop below finds them done
        options.progress(0.2, "write");
        BundleSink materialSink(temporary, ".mt", options.bundleBytes);
        for (uint32_t m : materialOrder) {
            const PackMaterial& material = scene.materials[m];
            const PackTexture* texture = textureOf(material);
            const StoredTexture stored = texture ? textures.store(material.texture, *texture) : StoredTexture();
            materialSink.add(*materialDocument(static_cast<uint32_t>(materialId[m]), material, stored));
        }
        materialSink.flush();

        BundleSink meshSink(temporary, ".me", options.bundleBytes);
        for (uint32_t i = 0; i < scene.meshCount; ++i) {
            const PackMesh mesh = scene.mesh(meshOrder[i]);
            report.triangles += mesh.triangleCount();
            meshSink.add(*meshDocument(i, mesh));
            options.progress(0.2 + 0.75 * (i + 1) / scene.meshCount, "write");
        }
        meshSink.flush();

        // The index.
        std::unique_ptr<VeldaDocNode> index(new VeldaDocNode(L"index"));
        index->addChild(new VeldaDocNode(L"ver", static_cast<int32_t>(1)));
        index->addChild(new VeldaDocNode(L"mtrls", materialSink.numbers()));
        index->addChild(new VeldaDocNode(L"meshes", meshSink.numbers()));
        // A node counts its children in 16 bits: larger scenes get several
        // "objs" groups, which the index reader joins.
        std::vector<VeldaDocNode*> groups;
        float lo[3] = {3.4e38f, 3.4e38f, 3.4e38f}, hi[3] = {-3.4e38f, -3.4e38f, -3.4e38f};
        uint32_t nextId = 1;
        Velda::ProjectProps props;
        props.metresPerUnit = scene.metresPerUnit;
        props.sourceUnit = scene.sourceUnit;
        for (size_t i : objectOrder) {
            PackObject o = scene.objects[i];
            if (o.entry >= 0 && static_cast<size_t>(o.entry) < scene.entries.size())
                props.objectEntry[static_cast<int32_t>(nextId)] = static_cast<uint32_t>(o.entry);
            o.mesh = meshId[o.mesh];
            o.material = static_cast<uint32_t>(materialId[o.material]);
            for (int k = 0; k < 3; ++k) {
                lo[k] = std::min(lo[k], o.min[k]);
                hi[k] = std::max(hi[k], o.max[k]);
            }
            if (groups.empty() || groups.back()->children.size() == 65535) {
                groups.push_back(new VeldaDocNode(L"objs"));
                index->addChild(groups.back());
            }
            groups.back()->addChild(objectNode(nextId++, o).release());
        }
        if (options.sceneBox) {
            std::copy(options.sceneMin, options.sceneMin + 3, lo);
            std::copy(options.sceneMax, options.sceneMax + 3, hi);
        }
        index->addChild(new VeldaDocNode(L"min", lo[0], lo[1], lo[2]));
        index->addChild(new VeldaDocNode(L"max", hi[0], hi[1], hi[2]));
        index->addChild(new VeldaDocNode(L"unit", static_cast<int32_t>(1)));
        if (!props.objectEntry.empty())
            index->addChild(new VeldaDocNode(L"props", static_cast<uint8_t>(1)));  // readers skip what they do not know
        const std::vector<unsigned char> indexFile = Velda::packIndex(*index);
        if (!Velda::writeFile(temporary + "/index", indexFile.data(), indexFile.size()))
            throw PackError("cannot write the index");

        // What each object is, for the viewer to show when it is picked.
        uint64_t propsBytes = 0;
        if (!props.objectEntry.empty()) {
            std::copy(lo, lo + 3, props.min);
            std::copy(hi, hi + 3, props.max);
            props.entries = std::move(scene.entries);
            const std::vector<unsigned char> file = Velda::packProjectProps(props);
            if (!Velda::writeFile(temporary + "/props", file.data(), file.size()))
                throw PackError("cannot write props");
            propsBytes = file.size();
            report.entries = props.entries.size();
        }

        fs::rename(temporary, folder, ec);
        if (ec)
            throw PackError("cannot move the project to " + folder + ": " + ec.message());

        report.objects = report.surfaces = scene.objects.size();
        report.meshes = scene.meshCount;
        report.materials = materialOrder.size();
        report.textures = textures.written();
        report.texturesFailed = textures.failed();
        report.bytes = indexFile.size() + propsBytes + materialSink.bytes() + meshSink.bytes();
        report.note = scene.note;
        for (const auto& entry : fs::recursive_directory_iterator(folder + "/texs"))
            if (entry.is_regular_file())
                report.bytes += entry.file_size();
        report.bundlesMt = materialSink.numbers().size();
        report.bundlesMe = meshSink.numbers().size();
        report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return report;
    } catch (...) {
        fs::remove_all(temporary, ec);
        throw;
    }
}

} // namespace VeldaPack
