#include "ModelReader.h"

#include "IfcReader.h"
#include "PackError.h"

#include "formats/TextHelpers.h"
#include "jobs/HttpTransfer.h"

#include <assimp/GltfMaterial.h>
#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cfloat>
#include <filesystem>
#include <map>
#include <memory>

namespace VeldaPack {

namespace fs = std::filesystem;

namespace {

// One part of a source mesh: a range of its triangles.
struct MeshPart {
    unsigned sourceMesh;
    unsigned firstFace, faceCount;
};

uint64_t estimatedDocumentBytes(uint64_t vertices, uint64_t faces, bool uvs)
{
    return vertices * (uvs ? 32u : 24u) + faces * 3u * (vertices > 65535 ? 4u : 2u) + 256u;
}

// Splits a source mesh into face ranges whose documents stay under the cap.
std::vector<MeshPart> partsOf(unsigned index, const aiMesh& mesh, uint64_t cap)
{
    const bool uvs = mesh.HasTextureCoords(0);
    const uint64_t whole = estimatedDocumentBytes(mesh.mNumVertices, mesh.mNumFaces, uvs);
    if (whole <= cap || mesh.mNumFaces < 2)
        return {{index, 0, mesh.mNumFaces}};
    // Each face brings at most three vertices of its own.
    const uint64_t perFace = 3u * (uvs ? 32u : 24u) + 6u;
    const unsigned facesPerPart = static_cast<unsigned>(std::max<uint64_t>(1, (cap - 256) / perFace));
    std::vector<MeshPart> parts;
    for (unsigned first = 0; first < mesh.mNumFaces; first += facesPerPart)
        parts.push_back({index, first, std::min(facesPerPart, mesh.mNumFaces - first)});
    return parts;
}

PackMesh makeMesh(const aiMesh& mesh, const MeshPart& part)
{
    PackMesh out;
    out.name = mesh.mName.C_Str();
    const bool uvs = mesh.HasTextureCoords(0);
    auto append = [&](unsigned v) {
        const aiVector3D& p = mesh.mVertices[v];
        out.positions.insert(out.positions.end(), {p.x, p.y, p.z});
        const aiVector3D n = mesh.HasNormals() ? mesh.mNormals[v] : aiVector3D(0, 0, 1);
        out.normals.insert(out.normals.end(), {n.x, n.y, n.z});
        if (uvs)
            out.uvs.insert(out.uvs.end(), {mesh.mTextureCoords[0][v].x, mesh.mTextureCoords[0][v].y});
    };
    const unsigned end = part.firstFace + part.faceCount;
    if (part.firstFace == 0 && part.faceCount == mesh.mNumFaces) {
        for (unsigned v = 0; v < mesh.mNumVertices; ++v)
            append(v);
        for (unsigned f = 0; f < end; ++f)
            if (mesh.mFaces[f].mNumIndices == 3)
                out.indices.insert(out.indices.end(), mesh.mFaces[f].mIndices, mesh.mFaces[f].mIndices + 3);
        return out;
    }
    // A part keeps only the vertices its triangles use, renumbered.
    std::vector<uint32_t> remap(mesh.mNumVertices, UINT32_MAX);
    for (unsigned f = part.firstFace; f < end; ++f) {
        if (mesh.mFaces[f].mNumIndices != 3)
            continue;
        for (unsigned k = 0; k < 3; ++k) {
            const unsigned v = mesh.mFaces[f].mIndices[k];
            if (remap[v] == UINT32_MAX) {
                remap[v] = out.vertexCount();
                append(v);
            }
            out.indices.push_back(remap[v]);
        }
    }
    return out;
}

void toColumns(const aiMatrix4x4& m, float out[16])
{
    // The importer's matrices are row-major with column vectors.
    const float rows[4][4] = {{m.a1, m.a2, m.a3, m.a4}, {m.b1, m.b2, m.b3, m.b4},
                              {m.c1, m.c2, m.c3, m.c4}, {m.d1, m.d2, m.d3, m.d4}};
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            out[4 * c + r] = rows[r][c];
}

std::string decodedUri(const std::string& uri)
{
    return uri.find('%') == std::string::npos ? uri : Velda::urlUnescape(uri);
}

int textureOf(const aiScene& scene, const aiMaterial& material, const fs::path& folder,
              std::vector<PackTexture>& textures, std::map<std::string, int>& known, PackMaterial& out)
{
    aiString path;
    aiTextureMapping mapping;
    unsigned uvIndex = 0;
    aiTextureType type = aiTextureType_BASE_COLOR;
    if (material.GetTexture(type, 0, &path, &mapping, &uvIndex) != AI_SUCCESS) {
        type = aiTextureType_DIFFUSE;
        if (material.GetTexture(type, 0, &path, &mapping, &uvIndex) != AI_SUCCESS)
            return -1;
    }
    out.uvSet = 0;  // the packer writes one UV set
    aiUVTransform transform;
    if (material.Get(AI_MATKEY_UVTRANSFORM(type, 0), transform) == AI_SUCCESS) {
        out.uvOffset[0] = transform.mTranslation.x;
        out.uvOffset[1] = transform.mTranslation.y;
        out.uvScale[0] = transform.mScaling.x;
        out.uvScale[1] = transform.mScaling.y;
    }
    const std::string key = path.C_Str();
    const auto seen = known.find(key);
    if (seen != known.end())
        return seen->second;

    PackTexture texture;
    if (const aiTexture* embedded = scene.GetEmbeddedTexture(path.C_Str())) {
        texture.name = embedded->mFilename.length ? embedded->mFilename.C_Str()
                                                  : "embedded " + std::to_string(textures.size());
        if (embedded->mHeight == 0) {
            const unsigned char* bytes = reinterpret_cast<const unsigned char*>(embedded->pcData);
            texture.bytes.assign(bytes, bytes + embedded->mWidth);
        } else {
            texture.width = static_cast<int>(embedded->mWidth);
            texture.height = static_cast<int>(embedded->mHeight);
            texture.bgra.resize(static_cast<size_t>(texture.width) * texture.height * 4);
            for (size_t i = 0; i < static_cast<size_t>(texture.width) * texture.height; ++i) {
                const aiTexel& t = embedded->pcData[i];
                texture.bgra[4 * i] = t.b;
                texture.bgra[4 * i + 1] = t.g;
                texture.bgra[4 * i + 2] = t.r;
                texture.bgra[4 * i + 3] = t.a;
            }
        }
    } else {
        std::string file = decodedUri(key);
        std::replace(file.begin(), file.end(), '\\', '/');
        fs::path candidate = fs::path(file).is_absolute() ? fs::path(file) : folder / file;
        std::error_code ec;
        if (!fs::exists(candidate, ec))
            candidate = folder / fs::path(file).filename();
        texture.path = candidate.string();
        texture.name = fs::path(file).filename().string();
    }
    textures.push_back(std::move(texture));
    known[key] = static_cast<int>(textures.size() - 1);
    return known[key];
}

PackMaterial convertMaterial(const aiScene& scene, const aiMaterial& m, const fs::path& folder,
                             std::vector<PackTexture>& textures, std::map<std::string, int>& known)
{
    PackMaterial out;
    aiString name;
    if (m.Get(AI_MATKEY_NAME, name) == AI_SUCCESS && name.length > 0)
        out.name = name.C_Str();
    aiColor4D base;
    aiColor3D colour;
    float baseAlpha = 1.0f;
    if (m.Get(AI_MATKEY_BASE_COLOR, base) == AI_SUCCESS) {
        out.diffuse[0] = base.r;
        out.diffuse[1] = base.g;
        out.diffuse[2] = base.b;
        baseAlpha = base.a;
    } else if (m.Get(AI_MATKEY_COLOR_DIFFUSE, colour) == AI_SUCCESS) {
        out.diffuse[0] = colour.r;
        out.diffuse[1] = colour.g;
        out.diffuse[2] = colour.b;
    }
    if (m.Get(AI_MATKEY_COLOR_EMISSIVE, colour) == AI_SUCCESS) {
        out.hasEmissive = true;
        out.emissive[0] = colour.r;
        out.emissive[1] = colour.g;
        out.emissive[2] = colour.b;
    }
    if (m.Get(AI_MATKEY_COLOR_SPECULAR, colour) == AI_SUCCESS) {
        out.hasSpecular = true;
        out.specular[0] = colour.r;
        out.specular[1] = colour.g;
        out.specular[2] = colour.b;
    }
    float value = 0;
    if (m.Get(AI_MATKEY_SHININESS, value) == AI_SUCCESS) {
        out.hasGlossiness = true;
        out.glossiness = value;
    }
    aiString alphaMode;
    if (m.Get(AI_MATKEY_GLTF_ALPHAMODE, alphaMode) == AI_SUCCESS) {
        const std::string mode = alphaMode.C_Str();
        out.alphaMode = mode == "MASK" ? 1 : (mode == "BLEND" ? 2 : 0);
        m.Get(AI_MATKEY_GLTF_ALPHACUTOFF, out.alphaCutoff);
        if (out.alphaMode == 2)
            out.alpha = baseAlpha;
    } else {
        float opacity = 1.0f;
        if (m.Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && opacity > 0.0f && opacity < 1.0f)
            out.alpha = opacity;
    }
    out.alpha = std::min(std::max(out.alpha, 0.0f), 1.0f);
    out.blend = out.alpha < 1.0f || out.alphaMode == 2;
    out.texture = textureOf(scene, m, folder, textures, known, out);
    return out;
}

} // namespace

unsigned importFlags()
{
    return aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
           aiProcess_GenSmoothNormals | aiProcess_ValidateDataStructure | aiProcess_FindInvalidData;
}

bool isYUpFormat(const std::string& path)
{
    const std::string e = Velda::toLowerAscii(Velda::extensionOf(path));
    return e != "stl" && e != "ply";
}

namespace {

std::string metadataText(const aiMetadataEntry& entry)
{
    switch (entry.mType) {
    case AI_BOOL: return *static_cast<const bool*>(entry.mData) ? "true" : "false";
    case AI_INT32: return std::to_string(*static_cast<const int32_t*>(entry.mData));
    case AI_UINT64: return std::to_string(*static_cast<const uint64_t*>(entry.mData));
    case AI_FLOAT: return std::to_string(*static_cast<const float*>(entry.mData));
    case AI_DOUBLE: return std::to_string(*static_cast<const double*>(entry.mData));
    case AI_AISTRING: return static_cast<const aiString*>(entry.mData)->C_Str();
    case AI_AIVECTOR3D: {
        const aiVector3D& v = *static_cast<const aiVector3D*>(entry.mData);
        return std::to_string(v.x) + " " + std::to_string(v.y) + " " + std::to_string(v.z);
    }
    default: return std::string();
    }
}

// A node as the importer names it: its path from the root, its name and
// its metadata.
Velda::PropsEntry nodeEntry(const aiNode& node, const std::string& path)
{
    Velda::PropsEntry e;
    e.source = path;
    e.name = node.mName.C_Str();
    e.className = "node";
    if (node.mMetaData && node.mMetaData->mNumProperties > 0) {
        Velda::PropSet set;
        set.name = "Metadata";
        for (unsigned i = 0; i < node.mMetaData->mNumProperties; ++i)
            set.values.push_back({node.mMetaData->mKeys[i].C_Str(), metadataText(node.mMetaData->mValues[i]), "", ""});
        e.sets.push_back(std::move(set));
    }
    return e;
}

// Metres per model unit where the format says: glTF is in metres, FBX
// tells its unit in centimetres.
double metresPerUnitOf(const aiScene& scene, const std::string& path)
{
    const std::string e = Velda::toLowerAscii(Velda::extensionOf(path));
    if (e == "gltf" || e == "glb")
        return 1.0;
    double factor = 0;
    if (scene.mMetaData && scene.mMetaData->Get("UnitScaleFactor", factor) && factor > 0)
        return factor / 100.0;
    float single = 0;
    if (scene.mMetaData && scene.mMetaData->Get("UnitScaleFactor", single) && single > 0)
        return single / 100.0;
    return 0.0;
}

// +90 degrees about x, for a z-up scene whose source was y-up.
void turnUp(PackScene& scene)
{
    for (PackObject& o : scene.objects) {
        float m[16];
        for (int c = 0; c < 4; ++c) {
            m[4 * c] = o.matrix[4 * c];
            m[4 * c + 1] = -o.matrix[4 * c + 2];
            m[4 * c + 2] = o.matrix[4 * c + 1];
            m[4 * c + 3] = o.matrix[4 * c + 3];
        }
        std::copy(m, m + 16, o.matrix);
        const float lo[3] = {o.min[0], -o.max[2], o.min[1]}, hi[3] = {o.max[0], -o.min[2], o.max[1]};
        std::copy(lo, lo + 3, o.min);
        std::copy(hi, hi + 3, o.max);
    }
}

// The importer's own measure of its reading, passed on as it comes.
class ImportProgress : public Assimp::ProgressHandler {
public:
    explicit ImportProgress(const PackProgress& progress) : progress_(progress) {}
    bool Update(float percentage) override
    {
        if (percentage >= 0.0f)
            progress_(percentage, "read");
        return true;  // never cancels: the packer is stopped from outside
    }

private:
    PackProgress progress_;
};

PackScene readWithImporter(const std::string& path, const ReadOptions& options)
{
    std::error_code ec;
    if (!fs::is_regular_file(path, ec))
        throw PackError("cannot read " + path + ": no such file");
    std::shared_ptr<Assimp::Importer> importer(new Assimp::Importer());
    importer->SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    if (!importer->IsExtensionSupported("." + Velda::extensionOf(path)))
        throw PackError("unsupported format: " + path);
    options.progress(0.0, "read");
    ImportProgress progress(options.progress);
    importer->SetProgressHandler(&progress);
    const aiScene* scene = importer->ReadFile(path, importFlags());
    importer->SetProgressHandler(nullptr);  // back to its own, which it keeps
    options.progress(1.0, "read");
    if (!scene || !scene->mRootNode)
        throw PackError("cannot read " + path + ": " + importer->GetErrorString());

    PackScene out;
    const fs::path folder = fs::path(path).parent_path();
    std::map<std::string, int> knownTextures;
    std::vector<int> materialIndex(scene->mNumMaterials, -1);

    // Parts of every triangle mesh that a node uses, and the parts' triangles.
    std::vector<std::vector<uint32_t>> partsOfMesh(scene->mNumMeshes);
    auto partsFor = std::make_shared<std::vector<MeshPart>>();

    const bool yUp = options.up == UpAxis::Y || (options.up == UpAxis::FromFormat && isYUpFormat(path));
    aiMatrix4x4 toZUp;  // +90 degrees about x: y becomes z
    if (yUp)
        toZUp = aiMatrix4x4(1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1);

    struct Pending {
        const aiNode* node;
        aiMatrix4x4 world;
        std::string path;
    };
    std::vector<Pending> stack = {
        {scene->mRootNode, toZUp * scene->mRootNode->mTransformation, scene->mRootNode->mName.C_Str()}};
    while (!stack.empty()) {
        const Pending p = stack.back();
        stack.pop_back();
        for (unsigned c = p.node->mNumChildren; c-- > 0;)
            stack.push_back({p.node->mChildren[c], p.world * p.node->mChildren[c]->mTransformation,
                             p.path + "/" + p.node->mChildren[c]->mName.C_Str()});
        int32_t entry = -1;
        for (unsigned k = 0; k < p.node->mNumMeshes; ++k) {
            const unsigned index = p.node->mMeshes[k];
            const aiMesh& mesh = *scene->mMeshes[index];
            if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || mesh.mNumFaces == 0)
                continue;
            if (partsOfMesh[index].empty()) {
                for (const MeshPart& part : partsOf(index, mesh, options.bundleBytes)) {
                    partsOfMesh[index].push_back(static_cast<uint32_t>(partsFor->size()));
                    partsFor->push_back(part);
                }
                if (partsOfMesh[index].size() > 1)
                    ++out.splitMeshes;
            }
            int& material = materialIndex[mesh.mMaterialIndex];
            if (material < 0) {
                out.materials.push_back(convertMaterial(*scene, *scene->mMaterials[mesh.mMaterialIndex], folder,
                                                        out.textures, knownTextures));
                material = static_cast<int>(out.materials.size() - 1);
            }
            std::string name = p.node->mName.length ? p.node->mName.C_Str() : mesh.mName.C_Str();
            if (p.node->mNumMeshes > 1)
                name += " " + std::to_string(k + 1);
            if (entry < 0) {
                entry = static_cast<int32_t>(out.entries.size());
                out.entries.push_back(nodeEntry(*p.node, p.path));
            }
            for (uint32_t part : partsOfMesh[index]) {
                PackObject o;
                o.name = name;
                o.entry = entry;
                toColumns(p.world, o.matrix);
                o.mesh = part;
                o.material = static_cast<uint32_t>(material);
                for (int a = 0; a < 3; ++a) {
                    o.min[a] = FLT_MAX;
                    o.max[a] = -FLT_MAX;
                }
                const MeshPart& range = (*partsFor)[part];
                for (unsigned f = range.firstFace; f < range.firstFace + range.faceCount; ++f)
                    for (unsigned v = 0; v < mesh.mFaces[f].mNumIndices; ++v) {
                        const aiVector3D w = p.world * mesh.mVertices[mesh.mFaces[f].mIndices[v]];
                        const float q[3] = {w.x, w.y, w.z};
                        for (int a = 0; a < 3; ++a) {
                            o.min[a] = std::min(o.min[a], q[a]);
                            o.max[a] = std::max(o.max[a], q[a]);
                        }
                    }
                out.objects.push_back(o);
            }
        }
    }
    if (out.objects.empty())
        throw PackError("no triangles in " + path);
    out.meshCount = static_cast<uint32_t>(partsFor->size());
    out.metresPerUnit = metresPerUnitOf(*scene, path);
    out.mesh = [importer, partsFor](uint32_t i) {
        const MeshPart& part = (*partsFor)[i];
        return makeMesh(*importer->GetScene()->mMeshes[part.sourceMesh], part);
    };
    return out;
}

} // namespace

PackScene readModel(const std::string& path, const ReadOptions& options)
{
    if (Velda::toLowerAscii(Velda::extensionOf(path)) != "ifc")
        return readWithImporter(path, options);
    IfcReadOptions ifc;
    ifc.progress = options.progress;
    ifc.spaces = options.spaces;
    ifc.maxBytes = options.maxIfcBytes;
    ifc.processes = options.processes;
    try {
        PackScene scene = readIfc(path, ifc);
        if (options.up == UpAxis::Y)
            turnUp(scene);
        return scene;
    } catch (const RefusedInput&) {
        throw;
    } catch (const PackError& ifcFailure) {
        // The general importer reads some files the IFC library cannot.
        try {
            PackScene scene = readWithImporter(path, options);
            scene.note = std::string("read by the general importer, the IFC reader failed: ") + ifcFailure.what();
            return scene;
        } catch (const PackError& importerFailure) {
            throw PackError(std::string(ifcFailure.what()) + "; the general importer: " + importerFailure.what());
        }
    }
}

} // namespace VeldaPack
