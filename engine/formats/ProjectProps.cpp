#include "formats/ProjectProps.h"

#include "formats/PackedData.h"
#include "formats/TextHelpers.h"
#include "formats/VeldaDocNode.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace Velda {

// The document:
//   props
//     ver i32, unit f32 (metres per model unit), srcunit string, min f3, max f3
//     oid i32[] (scene object ids), oent i32[] (their entries, same length)
//     entries (one or more groups of at most 65535)
//       e: src, name, class strings; spc, spn, sps string arrays (spatial
//          levels' classes, names, sources); sets: set children, each with
//          name, qto byte (quantities only), n, v, u, t string arrays
//          (names, values, units, value types).
// Written straight into bytes: a project's properties are many small
// texts, too many to hold as nodes.

namespace {

const size_t kMaxChildren = 65535;

class DocStream {
public:
    explicit DocStream(std::vector<unsigned char>& out) : out_(out) {}

    void head(const char* name, DocTag tag)
    {
        const size_t n = std::strlen(name);
        u16(static_cast<uint16_t>(n));
        out_.insert(out_.end(), name, name + n);
        out_.push_back(static_cast<unsigned char>(tag));
    }
    void children(size_t n)
    {
        if (n > kMaxChildren)
            throw std::length_error("more than 65535 children");
        u16(static_cast<uint16_t>(n));
    }
    void group(const char* name, size_t n)
    {
        head(name, kTagNone);
        children(n);
    }
    void integer(const char* name, int32_t v)
    {
        head(name, kTagInt32);
        u32(static_cast<uint32_t>(v));
        children(0);
    }
    void real(const char* name, float v)
    {
        head(name, kTagFloat);
        uint32_t bits;
        std::memcpy(&bits, &v, 4);
        u32(bits);
        children(0);
    }
    void byte(const char* name, uint8_t v)
    {
        head(name, kTagByte);
        out_.push_back(v);
        children(0);
    }
    void float3(const char* name, const float v[3])
    {
        head(name, kTagFloat3);
        for (int i = 0; i < 3; ++i) {
            uint32_t bits;
            std::memcpy(&bits, &v[i], 4);
            u32(bits);
        }
        children(0);
    }
    void text(const char* name, const std::string& v)
    {
        head(name, kTagString);
        string(v);
        children(0);
    }
    void texts(const char* name, const std::vector<std::string>& v)
    {
        head(name, kTagStringArray);
        u32(static_cast<uint32_t>(v.size()));
        for (const std::string& s : v)
            string(s);
        children(0);
    }
    void integers(const char* name, const std::vector<int32_t>& v)
    {
        head(name, kTagInt32Array);
        u32(static_cast<uint32_t>(v.size()));
        for (int32_t x : v)
            u32(static_cast<uint32_t>(x));
        children(0);
    }

private:
    void u16(uint16_t v)
    {
        out_.push_back(static_cast<unsigned char>(v & 0xFF));
        out_.push_back(static_cast<unsigned char>(v >> 8));
    }
    void u32(uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            out_.push_back(static_cast<unsigned char>((v >> (8 * i)) & 0xFF));
    }
    // A text longer than a u16 counts is cut at a character boundary.
    void string(const std::string& s)
    {
        size_t n = std::min<size_t>(s.size(), 65535);
        while (n < s.size() && n > 0 && (static_cast<unsigned char>(s[n]) & 0xC0) == 0x80)
            --n;
        u16(static_cast<uint16_t>(n));
        out_.insert(out_.end(), s.begin(), s.begin() + static_cast<std::ptrdiff_t>(n));
    }

    std::vector<unsigned char>& out_;
};

void writeEntry(DocStream& d, const PropsEntry& e)
{
    std::vector<std::string> classes, names, sources;
    for (const SpatialLevel& l : e.spatial) {
        classes.push_back(l.className);
        names.push_back(l.name);
        sources.push_back(l.source);
    }
    d.group("e", 7);
    d.text("src", e.source);
    d.text("name", e.name);
    d.text("class", e.className);
    d.texts("spc", classes);
    d.texts("spn", names);
    d.texts("sps", sources);
    const size_t sets = std::min(e.sets.size(), kMaxChildren);
    d.group("sets", sets);
    for (size_t s = 0; s < sets; ++s) {
        const PropSet& set = e.sets[s];
        std::vector<std::string> n, v, u, t;
        for (const PropValue& p : set.values) {
            n.push_back(p.name);
            v.push_back(p.value);
            u.push_back(p.unit);
            t.push_back(p.type);
        }
        d.group("set", set.quantities ? 6 : 5);
        d.text("name", set.name);
        if (set.quantities)
            d.byte("qto", 1);
        d.texts("n", n);
        d.texts("v", v);
        d.texts("u", u);
        d.texts("t", t);
    }
}

std::string utf8(const VeldaDocNode* node, size_t i = 0)
{
    return node ? wideToUtf8(node->stringValue(i)) : std::string();
}

std::vector<std::string> strings(const VeldaDocNode* node)
{
    std::vector<std::string> out;
    if (node && node->type == kTagStringArray)
        for (uint32_t i = 0; i < node->count; ++i)
            out.push_back(utf8(node, i));
    return out;
}

std::vector<int32_t> integers(const VeldaDocNode* node)
{
    std::vector<int32_t> out;
    if (!node || !node->data)
        return out;
    const uint32_t n = std::min(node->count, node->dataSize / 4);
    out.resize(n);
    if (n)
        std::memcpy(out.data(), node->data, 4u * n);
    return out;
}

PropsEntry readEntry(const VeldaDocNode& e)
{
    PropsEntry out;
    out.source = utf8(e.child(L"src"));
    out.name = utf8(e.child(L"name"));
    out.className = utf8(e.child(L"class"));
    const std::vector<std::string> classes = strings(e.child(L"spc")), names = strings(e.child(L"spn")),
                                   sources = strings(e.child(L"sps"));
    for (size_t i = 0; i < classes.size(); ++i)
        out.spatial.push_back({classes[i], i < names.size() ? names[i] : std::string(),
                               i < sources.size() ? sources[i] : std::string()});
    if (const VeldaDocNode* sets = e.child(L"sets"))
        for (const VeldaDocNode* s : sets->children) {
            PropSet set;
            set.name = utf8(s->child(L"name"));
            set.quantities = s->child(L"qto") && s->child(L"qto")->firstByte() != 0;
            const std::vector<std::string> n = strings(s->child(L"n")), v = strings(s->child(L"v")),
                                           u = strings(s->child(L"u")), t = strings(s->child(L"t"));
            for (size_t i = 0; i < n.size(); ++i)
                set.values.push_back({n[i], i < v.size() ? v[i] : std::string(), i < u.size() ? u[i] : std::string(),
                                      i < t.size() ? t[i] : std::string()});
            out.sets.push_back(std::move(set));
        }
    return out;
}

} // namespace

const PropsEntry* ProjectProps::entryOf(int32_t objectId) const
{
    const auto it = objectEntry.find(objectId);
    return it != objectEntry.end() && it->second < entries.size() ? &entries[it->second] : nullptr;
}

std::vector<unsigned char> packProjectProps(const ProjectProps& props)
{
    std::vector<unsigned char> plain;
    DocStream d(plain);
    const size_t groups = (props.entries.size() + kMaxChildren - 1) / kMaxChildren;
    d.group("props", 7 + groups);
    d.integer("ver", props.version);
    d.real("unit", static_cast<float>(props.metresPerUnit));
    d.text("srcunit", props.sourceUnit);
    d.float3("min", props.min);
    d.float3("max", props.max);
    std::vector<int32_t> ids, entries;
    for (const auto& e : props.objectEntry) {
        ids.push_back(e.first);
        entries.push_back(static_cast<int32_t>(e.second));
    }
    d.integers("oid", ids);
    d.integers("oent", entries);
    for (size_t g = 0; g < groups; ++g) {
        const size_t first = g * kMaxChildren, n = std::min(kMaxChildren, props.entries.size() - first);
        d.group("entries", n);
        for (size_t i = first; i < first + n; ++i)
            writeEntry(d, props.entries[i]);
    }
    return packIndexBytes(plain);
}

ProjectProps parseProjectProps(const unsigned char* data, size_t size)
{
    if (!data || size < kIndexHeaderSize)
        throw std::runtime_error("shorter than its 4-byte header");
    uint32_t declared;
    std::memcpy(&declared, data, 4);
    Inflated plain;
    std::string why;
    if (!inflateDeclared(data + kIndexHeaderSize, size - kIndexHeaderSize, declared, plain, &why))
        throw std::runtime_error(why);
    uint32_t consumed = static_cast<uint32_t>(plain.produced);
    std::unique_ptr<VeldaDocNode> root(parseDocument(plain.bytes.get(), consumed, &why));
    if (!root)
        throw std::runtime_error(why);
    if (root->name != L"props")
        throw std::runtime_error("not a props document");
    ProjectProps out;
    std::vector<int32_t> ids, entries;
    for (const VeldaDocNode* c : root->children) {
        if (c->name == L"ver")
            out.version = c->firstInt32();
        else if (c->name == L"unit")
            out.metresPerUnit = c->firstFloat();
        else if (c->name == L"srcunit")
            out.sourceUnit = utf8(c);
        else if (c->name == L"min")
            c->readFloats(out.min, 3);
        else if (c->name == L"max")
            c->readFloats(out.max, 3);
        else if (c->name == L"oid")
            ids = integers(c);
        else if (c->name == L"oent")
            entries = integers(c);
        else if (c->name == L"entries")
            for (const VeldaDocNode* e : c->children)
                out.entries.push_back(readEntry(*e));
    }
    for (size_t i = 0; i < ids.size() && i < entries.size(); ++i)
        if (entries[i] >= 0 && static_cast<size_t>(entries[i]) < out.entries.size())
            out.objectEntry[ids[i]] = static_cast<uint32_t>(entries[i]);
    return out;
}

} // namespace Velda
