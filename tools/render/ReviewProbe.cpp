#include "ReviewProbe.h"
#include "ProjectSession.h"

#include "Common/ProjectLoader.h"
#include "formats/ProjectProps.h"
#include "render/Context3d.h"
#include "render/PickPass.h"
#include "scene/Measurement.h"
#include "scene/SceneObjects.h"
#include "scene/SceneRoot.h"
#include "scene/StaticMesh.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace VeldaRender {

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void writeString(Writer& w, const char* key, const std::string& value)
{
    w.Key(key);
    w.String(value.c_str(), static_cast<rapidjson::SizeType>(value.size()));
}

void writePoint(Writer& w, const char* key, const Velda::Vector3& p)
{
    w.Key(key);
    w.StartArray();
    w.Double(p.x);
    w.Double(p.y);
    w.Double(p.z);
    w.EndArray();
}

// The picked object: its index id, its place in the scene, its name and,
// when the project has props, its class and source identity.
void writeObject(Writer& w, ProjectSession& session, const Velda::PickHit& hit)
{
    const Velda::StaticMesh* mesh = Velda::meshAt(*session.scene, hit.object);
    w.Key("object");
    if (!mesh) {
        w.Null();
        return;
    }
    w.Int(mesh->objectId());
    w.Key("place");
    w.Uint(hit.object);
    writeString(w, "name", mesh->getName());
    w.Key("triangles");
    w.Uint64(Velda::triangleCount(*mesh));
    const Velda::ProjectProps* props = session.loader->props();
    if (const Velda::PropsEntry* entry = props ? props->entryOf(mesh->objectId()) : nullptr) {
        writeString(w, "class", entry->className);
        writeString(w, "source", entry->source);
    }
    writePoint(w, "point", hit.point);
}

} // namespace

void applyReviewOptions(ProjectSession& session, const RenderOptions& options)
{
    Velda::ReviewState& review = session.context->review;
    const Velda::SceneRoot& scene = *session.scene;
    if (!options.isolate.empty())
        review.isolate(Velda::placesOf(scene, options.isolate), scene.getStaticMeshes().size());
    review.hide(Velda::placesOf(scene, options.hide));
    review.select(Velda::placesOf(scene, options.select));
    if (options.hasSection)
        review.setSection(Velda::AABB3(Velda::Vector3(options.sectionMin[0], options.sectionMin[1], options.sectionMin[2]),
                                       Velda::Vector3(options.sectionMax[0], options.sectionMax[1], options.sectionMax[2])));
}

std::vector<std::string> reviewProbes(ProjectSession& session, const RenderOptions& options, unsigned int frameBuffer)
{
    std::vector<std::string> lines;
    if (!options.hasPick && !options.hasMeasure)
        return lines;
    Velda::PickPass pass(session.context);
    if (options.hasPick) {
        const Velda::PickHit hit = pass.pick(session.scene.get(), session.camera, options.pick[0], options.pick[1],
                                             frameBuffer);
        rapidjson::StringBuffer buffer;
        Writer w(buffer);
        w.StartObject();
        w.Key("pick");
        w.StartObject();
        writeObject(w, session, hit);
        w.EndObject();
        w.EndObject();
        lines.push_back(buffer.GetString());
    }
    if (options.hasMeasure) {
        // Snapped as the viewer snaps a click: to a vertex within 8 pixels.
        const Velda::PickHit from = pass.snap(session.scene.get(), session.camera, options.measure[0],
                                              options.measure[1], 8, frameBuffer);
        const Velda::PickHit to = pass.snap(session.scene.get(), session.camera, options.measure[2],
                                            options.measure[3], 8, frameBuffer);
        rapidjson::StringBuffer buffer;
        Writer w(buffer);
        w.StartObject();
        w.Key("measure");
        w.StartObject();
        if (from.object && to.object) {
            const Velda::ProjectProps* props = session.loader->props();
            const Velda::MeasuredLength length = Velda::measureLength(
                from.point, to.point, session.loader->sceneScale(), props ? props->metresPerUnit : 0.0);
            writePoint(w, "from", from.point);
            writePoint(w, "to", to.point);
            w.Key("snapped");
            w.Bool(from.snapped && to.snapped);
            w.Key("length");
            w.Double(length.value);
            writeString(w, "unit", length.metres ? "m" : "scene");
        } else {
            w.Key("length");
            w.Null();
        }
        w.EndObject();
        w.EndObject();
        lines.push_back(buffer.GetString());
    }
    return lines;
}

} // namespace VeldaRender
