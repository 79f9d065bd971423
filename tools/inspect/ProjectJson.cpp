#include "inspect/ProjectJson.h"

#include "Common/IndexInfo.h"
#include "formats/PackedData.h"
#include "formats/ProjectProps.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace VeldaTools {

using Velda::VeldaDocNode;

namespace {

// Writes one JSON document through either of rapidjson's writers.
template <typename Writer>
class JsonOut {
public:
    explicit JsonOut(Writer& w) : w_(w) {}

    void key(const char* k) { w_.Key(k); }
    void text(const std::string& s) { w_.String(s.data(), static_cast<rapidjson::SizeType>(s.size())); }
    void integer(int64_t v) { w_.Int64(v); }
    void unsignedInt(uint64_t v) { w_.Uint64(v); }
    void boolean(bool v) { w_.Bool(v); }
    void field(const char* k, int64_t v) { key(k); integer(v); }
    void field(const char* k, const std::string& v) { key(k); text(v); }

    // The shortest decimal that reads back to the same float; JSON has no
    // NaN or infinity, so those become strings.
    void real(float v)
    {
        if (std::isnan(v)) {
            text("NaN");
            return;
        }
        if (std::isinf(v)) {
            text(v > 0 ? "Infinity" : "-Infinity");
            return;
        }
        char buffer[32];
        for (int precision = 1; precision <= 9; ++precision) {
            std::snprintf(buffer, sizeof buffer, "%.*g", precision, static_cast<double>(v));
            if (std::strtof(buffer, nullptr) == v)
                break;
        }
        w_.RawValue(buffer, std::strlen(buffer), rapidjson::kNumberType);
    }

    void vector3(const Velda::Vector3& v)
    {
        w_.StartArray();
        real(v.x);
        real(v.y);
        real(v.z);
        w_.EndArray();
    }

    void box(const Velda::AABB3& b)
    {
        w_.StartObject();
        key("min");
        vector3(b.getMin());
        key("max");
        vector3(b.getMax());
        w_.EndObject();
    }

    void value(const VeldaDocNode& node)
    {
        const int32_t tag = node.type;
        const unsigned char* p = node.data;
        const uint32_t size = p ? node.dataSize : 0;
        auto u16 = [p](size_t i) { uint16_t v; std::memcpy(&v, p + 2 * i, 2); return v; };
        auto u32 = [p](size_t i) { uint32_t v; std::memcpy(&v, p + 4 * i, 4); return v; };
        auto f32 = [p](size_t i) { float v; std::memcpy(&v, p + 4 * i, 4); return v; };
        switch (tag) {
        case Velda::kTagByte: key("value"); unsignedInt(size >= 1 ? p[0] : 0); return;
        case Velda::kTagString: key("value"); text(Velda::wideToUtf8(node.stringValue())); return;
        case Velda::kTagInt16: key("value"); integer(size >= 2 ? static_cast<int16_t>(u16(0)) : 0); return;
        case Velda::kTagUInt16: key("value"); unsignedInt(size >= 2 ? u16(0) : 0); return;
        case Velda::kTagInt32: key("value"); integer(size >= 4 ? static_cast<int32_t>(u32(0)) : 0); return;
        case Velda::kTagUInt32: key("value"); unsignedInt(size >= 4 ? u32(0) : 0); return;
        case Velda::kTagFloat: key("value"); real(size >= 4 ? f32(0) : 0.0f); return;
        case Velda::kTagStringArray:
            key("value");
            w_.StartArray();
            for (uint32_t i = 0; i < node.count; ++i)
                text(Velda::wideToUtf8(node.stringValue(i)));
            w_.EndArray();
            return;
        default: break;
        }
        if (tag < Velda::kTagUInt16Array || (tag > Velda::kTagFloat12 && tag != Velda::kTagFloat3Array))
            return;  // no value: 0, 19, 20 and unknown tags
        key("value");
        w_.StartArray();
        switch (tag) {
        case Velda::kTagUInt16Array: for (size_t i = 0; i < size / 2; ++i) unsignedInt(u16(i)); break;
        case Velda::kTagInt16Array: for (size_t i = 0; i < size / 2; ++i) integer(static_cast<int16_t>(u16(i))); break;
        case Velda::kTagUInt32Array: for (size_t i = 0; i < size / 4; ++i) unsignedInt(u32(i)); break;
        case Velda::kTagInt32Array: for (size_t i = 0; i < size / 4; ++i) integer(static_cast<int32_t>(u32(i))); break;
        case Velda::kTagByteArray: for (size_t i = 0; i < size; ++i) unsignedInt(p[i]); break;
        default: for (size_t i = 0; i < size / 4; ++i) real(f32(i)); break;  // 13, 15 to 18, 21
        }
        w_.EndArray();
    }

    void nodeHead(const VeldaDocNode& node)
    {
        w_.StartObject();
        key("name");
        text(Velda::wideToUtf8(node.name));
        key("tag");
        integer(node.type);
        key("count");
        unsignedInt(node.count);
        value(node);
        key("children");
        w_.StartArray();
    }

    // Depth-first with an explicit stack: corrupt input can nest deeply.
    void tree(const VeldaDocNode& root)
    {
        struct Frame {
            const VeldaDocNode* node;
            size_t next;
        };
        std::vector<Frame> stack;
        nodeHead(root);
        stack.push_back({&root, 0});
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next == top.node->children.size()) {
                w_.EndArray();
                w_.EndObject();
                stack.pop_back();
                continue;
            }
            const VeldaDocNode* child = top.node->children[top.next++];
            nodeHead(*child);
            stack.push_back({child, 0});
        }
    }

    Writer& w() { return w_; }

private:
    Writer& w_;
};

template <typename Writer>
void writeDocument(JsonOut<Writer>& out, const unsigned char* data, size_t size)
{
    uint32_t consumed = size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
    std::string why;
    std::unique_ptr<VeldaDocNode> root(Velda::parseDocument(data, consumed, &why));
    if (!root)
        throw InspectError(why);
    out.tree(*root);
}

template <typename Writer>
void writeBundle(JsonOut<Writer>& out, const unsigned char* data, size_t size, rapidjson::StringBuffer& buffer)
{
    Velda::BundleHeader header;
    if (!Velda::readBundleHeader(data, size, header))
        throw InspectError("bundle shorter than its 8-byte header");
    std::vector<std::unique_ptr<VeldaDocNode>> trees;
    std::vector<uint32_t> bytes;
    std::string why;
    const int handed = Velda::unpackBundle(
        data, size,
        [&](int, std::unique_ptr<VeldaDocNode> root, uint32_t consumed) {
            trees.push_back(std::move(root));
            bytes.push_back(consumed);
        },
        &why);
    if (handed < 0)
        throw InspectError(why);

    auto& w = out.w();
    w.StartObject();
    out.field("kind", "bundle");
    out.field("documents", header.documents);
    out.key("uncompressedSize");
    out.unsignedInt(header.uncompressedSize);
    out.key("trees");
    w.StartArray();
    for (const auto& t : trees)
        out.tree(*t);
    w.EndArray();
    out.key("bytes");
    w.StartArray();
    for (uint32_t b : bytes)
        out.unsignedInt(b);
    w.EndArray();
    w.EndObject();
    if (handed < header.documents)
        throw InspectError(why, buffer.GetString());
}

std::string nestedReason(const std::exception& e)
{
    try {
        std::rethrow_if_nested(e);
    } catch (const std::exception& inner) {
        return std::string(e.what()) + " (" + inner.what() + ")";
    }
    return e.what();
}

template <typename Writer>
void writeIndex(JsonOut<Writer>& out, const unsigned char* data, size_t size)
{
    std::unique_ptr<VeldaClient::IndexInfo> index;
    try {
        index.reset(new VeldaClient::IndexInfo(data, static_cast<unsigned int>(size)));
    } catch (const std::exception& e) {
        throw InspectError(nestedReason(e));
    }
    auto& w = out.w();
    w.StartObject();
    out.field("kind", "index");
    out.field("version", index->version());
    out.key("unit");
    out.unsignedInt(index->unit());
    auto names = [&](const char* k, const std::vector<std::string>& list) {
        out.key(k);
        w.StartArray();
        for (const std::string& name : list)
            out.text(name);
        w.EndArray();
    };
    names("materialFiles", index->materialFiles());
    names("meshFiles", index->meshFiles());
    out.key("objectCount");
    out.unsignedInt(index->objectCount());
    out.key("bounds");
    out.box(index->bounds());
    out.key("objects");
    w.StartArray();
    for (const auto& entry : index->objects()) {
        const VeldaClient::IndexObject& o = entry.second;
        w.StartObject();
        out.field("id", o.id);
        out.field("name", o.name);
        out.key("castShadow");
        out.boolean(o.castShadow);
        out.key("matrix");
        w.StartArray();
        for (float f : o.matrix.m)
            out.real(f);
        w.EndArray();
        out.key("bounds");
        out.box(o.bounds);
        out.key("surfaces");
        w.StartArray();
        for (const VeldaClient::IndexSurface& s : o.surfaces) {
            w.StartObject();
            out.field("materialId", s.materialId);
            out.field("meshId", s.meshId);
            out.field("name", s.name);
            w.EndObject();
        }
        w.EndArray();
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
}

template <typename Writer>
void writeProps(JsonOut<Writer>& out, const unsigned char* data, size_t size)
{
    Velda::ProjectProps props;
    try {
        props = Velda::parseProjectProps(data, size);
    } catch (const std::exception& e) {
        throw InspectError(e.what());
    }
    auto& w = out.w();
    w.StartObject();
    out.field("kind", "props");
    out.field("version", props.version);
    out.key("metresPerUnit");
    out.real(static_cast<float>(props.metresPerUnit));
    out.field("sourceUnit", props.sourceUnit);
    out.key("bounds");
    out.box(Velda::AABB3(Velda::Vector3{props.min[0], props.min[1], props.min[2]},
                         Velda::Vector3{props.max[0], props.max[1], props.max[2]}));
    out.key("objects");
    w.StartArray();
    for (const auto& o : props.objectEntry) {
        const Velda::PropsEntry& e = props.entries[o.second];
        w.StartObject();
        out.field("id", o.first);
        out.field("entry", o.second);
        out.field("source", e.source);
        out.field("name", e.name);
        out.field("class", e.className);
        out.key("spatial");
        w.StartArray();
        for (const Velda::SpatialLevel& l : e.spatial) {
            w.StartObject();
            out.field("class", l.className);
            out.field("name", l.name);
            out.field("source", l.source);
            w.EndObject();
        }
        w.EndArray();
        out.key("sets");
        w.StartArray();
        for (const Velda::PropSet& s : e.sets) {
            w.StartObject();
            out.field("name", s.name);
            out.key("quantities");
            out.boolean(s.quantities);
            out.key("values");
            w.StartArray();
            for (const Velda::PropValue& v : s.values) {
                w.StartObject();
                out.field("name", v.name);
                out.field("value", v.value);
                if (!v.unit.empty())
                    out.field("unit", v.unit);
                if (!v.type.empty())
                    out.field("type", v.type);
                w.EndObject();
            }
            w.EndArray();
            w.EndObject();
        }
        w.EndArray();
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
}

template <typename Writer>
std::string inspectWith(const unsigned char* data, size_t size, FileKind kind)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    JsonOut<Writer> out(writer);
    switch (kind) {
    case FileKind::Document: writeDocument(out, data, size); break;
    case FileKind::Bundle: writeBundle(out, data, size, buffer); break;
    case FileKind::Index: writeIndex(out, data, size); break;
    case FileKind::Props: writeProps(out, data, size); break;
    }
    return buffer.GetString();
}

} // namespace

bool kindFromName(const std::string& path, FileKind& kind)
{
    const std::string name = Velda::fileNameOf(path);
    if (name == "index") {
        kind = FileKind::Index;
        return true;
    }
    if (name == "props") {
        kind = FileKind::Props;
        return true;
    }
    const std::string ext = Velda::toLowerAscii(Velda::extensionOf(name));
    if (ext == "me" || ext == "mt") {
        kind = FileKind::Bundle;
        return true;
    }
    return false;
}

std::string inspectBytes(const unsigned char* data, size_t size, FileKind kind, bool pretty)
{
    if (!pretty)
        return inspectWith<rapidjson::Writer<rapidjson::StringBuffer>>(data, size, kind);
    using Pretty = rapidjson::PrettyWriter<rapidjson::StringBuffer>;
    struct SingleLinePretty : Pretty {
        explicit SingleLinePretty(rapidjson::StringBuffer& b) : Pretty(b)
        {
            SetIndent(' ', 2);
            SetFormatOptions(rapidjson::kFormatSingleLineArray);
        }
    };
    return inspectWith<SingleLinePretty>(data, size, kind);
}

} // namespace VeldaTools
