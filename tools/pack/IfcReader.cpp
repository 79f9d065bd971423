#include "IfcReader.h"

#include "ForkedWork.h"
#include "IfcProperties.h"
#include "IfcShapes.h"
#include "PackError.h"
#include "StepText.h"

#include <ifcpp/IFC4/include/IfcAnnotation.h>
#include <ifcpp/IFC4/include/IfcFeatureElementSubtraction.h>
#include <ifcpp/IFC4/include/IfcProduct.h>
#include <ifcpp/IFC4/include/IfcSpace.h>
#include <ifcpp/IFC4/include/IfcVirtualElement.h>
#include <ifcpp/model/BuildingModel.h>
#include <ifcpp/model/UnitConverter.h>
#include <ifcpp/reader/ReaderSTEP.h>

#include <algorithm>
#include <chrono>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace VeldaPack {

namespace fs = std::filesystem;

namespace {

// ---- a product's parts through the workers' files ------------------------

template <typename T>
void put(std::string& out, const T* data, size_t n)
{
    out.append(reinterpret_cast<const char*>(data), n * sizeof(T));
}

template <typename T>
bool take(const std::string& in, size_t& at, T* data, size_t n)
{
    if (n > (in.size() - at) / sizeof(T))
        return false;
    std::memcpy(data, in.data() + at, n * sizeof(T));
    at += n * sizeof(T);
    return true;
}

std::string serialise(const ProductShape& shape)
{
    std::string out;
    const uint32_t head[2] = {shape.errors, static_cast<uint32_t>(shape.parts.size())};
    put(out, head, 2);
    for (const ShapePart& p : shape.parts) {
        const float colour[4] = {p.colour.r, p.colour.g, p.colour.b, p.colour.a};
        const uint32_t sizes[3] = {p.colour.known ? 1u : 0u, static_cast<uint32_t>(p.positions.size() / 3),
                                   static_cast<uint32_t>(p.indices.size())};
        put(out, colour, 4);
        put(out, sizes, 3);
        put(out, p.positions.data(), p.positions.size());
        put(out, p.normals.data(), p.normals.size());
        put(out, p.indices.data(), p.indices.size());
    }
    return out;
}

bool deserialise(const std::string& in, ProductShape& shape)
{
    size_t at = 0;
    uint32_t head[2];
    if (!take(in, at, head, 2))
        return false;
    shape.errors = head[0];
    for (uint32_t k = 0; k < head[1]; ++k) {
        ShapePart p;
        float colour[4];
        uint32_t sizes[3];
        if (!take(in, at, colour, 4) || !take(in, at, sizes, 3))
            return false;
        p.colour.r = colour[0];
        p.colour.g = colour[1];
        p.colour.b = colour[2];
        p.colour.a = colour[3];
        p.colour.known = sizes[0] != 0;
        p.positions.resize(3ull * sizes[1]);
        p.normals.resize(3ull * sizes[1]);
        p.indices.resize(sizes[2]);
        if (!take(in, at, p.positions.data(), p.positions.size()) || !take(in, at, p.normals.data(), p.normals.size()) ||
            !take(in, at, p.indices.data(), p.indices.size()))
            return false;
        for (uint32_t i : p.indices)
            if (i >= sizes[1])
                return false;
        shape.parts.push_back(std::move(p));
    }
    return true;
}

// ---- reading ---------------------------------------------------------------

// What the library's messages are counted and passed on to. The library may
// send them from its own threads.
struct ReaderMessages {
    std::mutex mutex;
    uint64_t errors = 0;
    PackProgress progress;
};

void onReaderMessage(void* target, shared_ptr<StatusCallback::Message> m)
{
    auto* messages = static_cast<ReaderMessages*>(target);
    if (!m)
        return;
    std::lock_guard<std::mutex> lock(messages->mutex);
    if (m->m_message_type == StatusCallback::MESSAGE_TYPE_ERROR)
        ++messages->errors;
    else if (m->m_message_type == StatusCallback::MESSAGE_TYPE_PROGRESS_VALUE && m->m_progress_value >= 0.0)
        messages->progress(m->m_progress_value, "read");
}

std::string readText(const std::string& path, uint64_t maxBytes)
{
    std::error_code ec;
    if (!fs::is_regular_file(path, ec))
        throw RefusedInput("cannot read " + path + ": no such file");
    const uint64_t size = fs::file_size(path, ec);
    if (ec)
        throw PackError("cannot read " + path + ": " + ec.message());
    if (size == 0)
        throw RefusedInput(path + " is empty");
    if (size > maxBytes)
        throw RefusedInput(path + " holds " + std::to_string(size >> 20) + " MB, more than the limit of " +
                           std::to_string(maxBytes >> 20) + " MB (--max-ifc-mb)");
    std::ifstream in(path, std::ios::binary);
    std::string text(static_cast<size_t>(size), '\0');
    if (!in.read(&text[0], static_cast<std::streamsize>(size)))
        throw PackError("cannot read " + path);
    return text;
}

bool drawn(const shared_ptr<IfcProduct>& p, bool spaces)
{
    if (!p->m_Representation)
        return false;
    if (dynamic_pointer_cast<IfcFeatureElementSubtraction>(p) || dynamic_pointer_cast<IfcAnnotation>(p) ||
        dynamic_pointer_cast<IfcVirtualElement>(p))
        return false;
    return spaces || !dynamic_pointer_cast<IfcSpace>(p);
}

std::string materialName(const IfcColour& c)
{
    char text[96];
    std::snprintf(text, sizeof text, "ifc %.3f %.3f %.3f %.3f", c.r, c.g, c.b, c.a);
    return text;
}

} // namespace

PackScene readIfc(const std::string& path, const IfcReadOptions& options)
{
    const auto start = std::chrono::steady_clock::now();
    const auto since = [](std::chrono::steady_clock::time_point t) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
    };
    const PackProgress reading = options.progress.part(0.0, 0.3);
    const PackProgress shaping = options.progress.part(0.3, 1.0);
    reading(0.0, "read");
    PreparedStep step = prepareStep(readText(path, options.maxBytes));

    // The library needs no locale when handed the text itself.
    shared_ptr<BuildingModel> model(new BuildingModel());
    ReaderMessages messages;
    messages.progress = reading;
    {
        shared_ptr<ReaderSTEP> reader(new ReaderSTEP());
        reader->setMessageCallBack(&messages, onReaderMessage);
        model->setMessageCallBack(&messages, onReaderMessage);
        try {
            reader->loadModelFromString(step.text, model);
        } catch (const std::exception& e) {
            throw PackError("the IFC library cannot read " + path + ": " + e.what());
        }
        std::string().swap(step.text);
    }
    shared_ptr<UnitConverter> units = model->getUnitConverter();
    units->setMessageCallBack(&messages, onReaderMessage);
    // The geometry workers are told nothing: only this process reports.
    messages.progress = PackProgress();

    std::vector<shared_ptr<IfcProduct>> products;
    for (const auto& entity : model->getMapIfcEntities())
        if (const auto p = dynamic_pointer_cast<IfcProduct>(entity.second))
            if (drawn(p, options.spaces))
                products.push_back(p);
    if (products.empty())
        throw PackError("the IFC library found no shapes in " + path + " (schema " + step.schema + ")");

    const double readSeconds = since(start);
    const auto shapesStart = std::chrono::steady_clock::now();
    // Geometry on every core, in children that share the model.
    std::vector<ProductShape> shapes(products.size());
    unsigned processes = options.processes ? options.processes : std::max(1u, std::thread::hardware_concurrency());
    IfcShapeConverter converter(model);
    const ForkedWork::Outcome outcome = ForkedWork::run(
        static_cast<uint32_t>(products.size()), processes,
        [&](uint32_t i) { return serialise(converter.convert(products[i])); },
        [&](uint32_t i, const std::string& bytes) {
            if (i < shapes.size() && !deserialise(bytes, shapes[i]))
                shapes[i] = ProductShape();
        },
        [&](uint32_t taken) { shaping(static_cast<double>(taken) / static_cast<double>(products.size()), "shapes"); });
    shaping(1.0, "shapes");

    const double shapeSeconds = since(shapesStart);
    PackScene scene;
    scene.metresPerUnit = 1.0;  // the converter gives metres
    IfcPropertyReader properties(model);
    scene.sourceUnit = properties.lengthUnit();
    std::map<IfcColour, uint32_t> materials;
    auto meshes = std::make_shared<std::vector<PackMesh>>();
    for (size_t i = 0; i < products.size(); ++i) {
        ProductShape& shape = shapes[i];
        if (shape.parts.empty())
            continue;
        const int32_t entry = static_cast<int32_t>(scene.entries.size());
        scene.entries.push_back(properties.entryOf(products[i]));
        const Velda::PropsEntry& e = scene.entries.back();
        const std::string name = e.name.empty() ? e.className : e.name;
        for (ShapePart& part : shape.parts) {
            IfcColour colour = part.colour;
            if (!colour.known && e.className == "IfcSpace")
                colour = {0.6f, 0.75f, 0.9f, 0.3f, true};
            auto found = materials.find(colour);
            if (found == materials.end()) {
                PackMaterial m;
                m.name = colour.known ? materialName(colour) : "defultMat";
                m.diffuse[0] = colour.r;
                m.diffuse[1] = colour.g;
                m.diffuse[2] = colour.b;
                m.alpha = colour.a;
                m.blend = colour.a < 1.0f;
                // Matt, as the general importer gave these styles: the
                // viewer's default highlight washes light colours out.
                m.hasSpecular = true;
                std::fill(m.specular, m.specular + 3, 0.0f);
                found = materials.emplace(colour, static_cast<uint32_t>(scene.materials.size())).first;
                scene.materials.push_back(m);
            }
            PackObject o;
            o.name = name;
            o.entry = entry;
            o.material = found->second;
            for (int a = 0; a < 3; ++a) {
                o.min[a] = FLT_MAX;
                o.max[a] = -FLT_MAX;
            }
            for (size_t v = 0; v < part.positions.size(); v += 3)
                for (int a = 0; a < 3; ++a) {
                    o.min[a] = std::min(o.min[a], part.positions[v + a]);
                    o.max[a] = std::max(o.max[a], part.positions[v + a]);
                }
            // Vertices about the box's centre, the centre in the placement:
            // far-off site coordinates keep their precision.
            float centre[3];
            for (int a = 0; a < 3; ++a)
                centre[a] = 0.5f * (o.min[a] + o.max[a]);
            for (size_t v = 0; v < part.positions.size(); v += 3)
                for (int a = 0; a < 3; ++a)
                    part.positions[v + a] -= centre[a];
            std::fill(o.matrix, o.matrix + 16, 0.0f);
            o.matrix[0] = o.matrix[5] = o.matrix[10] = o.matrix[15] = 1.0f;
            std::copy(centre, centre + 3, o.matrix + 12);
            PackMesh mesh;
            mesh.name = name;
            mesh.positions = std::move(part.positions);
            mesh.normals = std::move(part.normals);
            mesh.indices = std::move(part.indices);
            o.mesh = static_cast<uint32_t>(meshes->size());
            meshes->push_back(std::move(mesh));
            scene.objects.push_back(o);
        }
        shape = ProductShape();
    }
    if (scene.objects.empty())
        throw PackError("the IFC library made no triangles of " + path + " (schema " + step.schema + ")");
    scene.meshCount = static_cast<uint32_t>(meshes->size());
    scene.mesh = [meshes](uint32_t i) { return std::move((*meshes)[i]); };
    char note[256];
    std::snprintf(note, sizeof note,
                  "%s through the IFC library: read in %.1f s, %zu products on %u workers in %.1f s "
                  "(largest worker %llu MB)%s",
                  step.schema.c_str(), readSeconds, products.size(), std::min<unsigned>(processes,
                  static_cast<unsigned>(products.size())), shapeSeconds,
                  static_cast<unsigned long long>(outcome.childPeakKiB / 1024),
                  outcome.crashed.empty() ? "" : ", some products lost with a crashed worker");
    scene.note = note;
    return scene;
}

} // namespace VeldaPack
