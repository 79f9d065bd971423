#include "StepText.h"

#include "PackError.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace VeldaPack {

namespace {

using Span = std::pair<size_t, size_t>;  // [first, second)

struct Instance {
    uint32_t id = 0;
    size_t start = 0, end = 0;  // "#id=...;" whole
    Span type{0, 0};
    Span args{0, 0};            // inside the outer parentheses
    uint32_t firstRef = 0, refCount = 0;
};

struct Edit {
    size_t start, end;
    std::string text;
};

std::string upper(const std::string& text, Span s)
{
    std::string out = text.substr(s.first, s.second - s.first);
    for (char& c : out)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

// Skips blanks and comments from `i`.
size_t skipBlank(const std::string& t, size_t i)
{
    while (i < t.size()) {
        if (std::isspace(static_cast<unsigned char>(t[i]))) {
            ++i;
        } else if (t.compare(i, 2, "/*") == 0) {
            const size_t close = t.find("*/", i + 2);
            i = close == std::string::npos ? t.size() : close + 2;
        } else {
            break;
        }
    }
    return i;
}

// The end of a quoted string starting at `i` (the quote), past its closing quote.
size_t skipString(const std::string& t, size_t i)
{
    for (++i; i < t.size(); ++i)
        if (t[i] == '\'') {
            if (i + 1 < t.size() && t[i + 1] == '\'')
                ++i;
            else
                return i + 1;
        }
    return t.size();
}

// The arguments of a parenthesised list [open, close] at its own level.
std::vector<Span> splitList(const std::string& t, size_t open, size_t close)
{
    std::vector<Span> parts;
    size_t begin = open + 1;
    int depth = 0;
    for (size_t i = open + 1; i < close; ++i) {
        const char c = t[i];
        if (c == '\'') {
            i = skipString(t, i) - 1;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            --depth;
        } else if (c == ',' && depth == 0) {
            parts.emplace_back(begin, i);
            begin = i + 1;
        }
    }
    if (close > open + 1)
        parts.emplace_back(begin, close);
    for (Span& p : parts) {
        while (p.first < p.second && std::isspace(static_cast<unsigned char>(t[p.first])))
            ++p.first;
        while (p.second > p.first && std::isspace(static_cast<unsigned char>(t[p.second - 1])))
            --p.second;
    }
    return parts;
}

// The span is "( ... )": its inside, or false.
bool inner(const std::string& t, Span s, Span& out)
{
    if (s.second - s.first < 2 || t[s.first] != '(' || t[s.second - 1] != ')')
        return false;
    out = {s.first, s.second - 1};  // the indices of '(' and ')'
    return true;
}

bool numbers(const std::string& t, Span list, std::vector<double>& out)
{
    Span in;
    if (!inner(t, list, in))
        return false;
    for (const Span& p : splitList(t, in.first, in.second)) {
        const std::string piece = t.substr(p.first, p.second - p.first);
        char* end = nullptr;
        const double v = std::strtod(piece.c_str(), &end);
        if (piece.empty() || *end != '\0' || !std::isfinite(v))
            return false;
        out.push_back(v);
    }
    return true;
}

std::string real(double v)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.15G", v);
    std::string s = text;
    const size_t e = s.find('E');
    if (s.find('.') == std::string::npos)
        s.insert(e == std::string::npos ? s.size() : e, ".");
    return s;
}

using Point = std::array<double, 3>;

Point sub(const Point& a, const Point& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
Point cross(const Point& a, const Point& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double dot(const Point& a, const Point& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Points along the circular arc from a through b to c, a excluded.
void arc(const Point& a, const Point& b, const Point& c, std::vector<Point>& out)
{
    const Point u = sub(a, c), v = sub(b, c), n = cross(u, v);
    const double nn = dot(n, n);
    if (nn < 1e-18 * dot(u, u) * dot(v, v) || nn == 0.0) {  // in line: straight on
        out.push_back(b);
        out.push_back(c);
        return;
    }
    // Centre = c + ((|u|^2 v - |v|^2 u) x n) / (2 |n|^2)
    const double uu = dot(u, u), vv = dot(v, v);
    const Point w = {uu * v[0] - vv * u[0], uu * v[1] - vv * u[1], uu * v[2] - vv * u[2]};
    const Point k = cross(w, n);
    const Point centre = {c[0] + k[0] / (2 * nn), c[1] + k[1] / (2 * nn), c[2] + k[2] / (2 * nn)};
    const Point ra = sub(a, centre);
    const double r = std::sqrt(dot(ra, ra));
    const double nl = std::sqrt(nn);
    const Point axis = {n[0] / nl, n[1] / nl, n[2] / nl};
    const Point ex = {ra[0] / r, ra[1] / r, ra[2] / r};
    const Point ey = cross(axis, ex);
    const auto angle = [&](const Point& p) {
        const Point d = sub(p, centre);
        double t = std::atan2(dot(d, ey), dot(d, ex));
        return t < 0 ? t + 2 * M_PI : t;
    };
    const double tb = angle(b);
    double tc = angle(c);
    if (tb > tc)
        tc -= 2 * M_PI;  // the way through b goes the other way round
    const int steps = std::max(2, static_cast<int>(std::ceil(std::fabs(tc) / (2 * M_PI / 24))));
    for (int s = 1; s < steps; ++s) {
        const double t = tc * s / steps;
        out.push_back({centre[0] + r * (std::cos(t) * ex[0] + std::sin(t) * ey[0]),
                       centre[1] + r * (std::cos(t) * ex[1] + std::sin(t) * ey[1]),
                       centre[2] + r * (std::cos(t) * ex[2] + std::sin(t) * ey[2])});
    }
    out.push_back(c);
}

class Preparer {
public:
    Preparer(std::string text, const StepLimits& limits) : t_(std::move(text)), limits_(limits) {}

    PreparedStep run()
    {
        readHeader();
        scanData();
        checkReferences();
        for (const Instance& in : instances_)
            rewrite(in);
        PreparedStep out;
        out.schema = schema_;
        out.instances = instances_.size();
        out.curvesRewritten = curves_;
        out.argumentsMapped = mapped_;
        out.text = apply();
        return out;
    }

private:
    void readHeader()
    {
        if (t_.compare(skipBlank(t_, 0), 13, "ISO-10303-21;") != 0)
            throw RefusedInput("not a STEP file (no ISO-10303-21 header)");
        const size_t at = t_.find("FILE_SCHEMA");
        if (at == std::string::npos)
            throw PackError("no FILE_SCHEMA in the header");
        const size_t quote = t_.find('\'', at);
        if (quote == std::string::npos)
            throw PackError("no schema named in FILE_SCHEMA");
        const size_t close = skipString(t_, quote);
        schema_ = upper(t_, {quote + 1, close - 1});
        future_ = schema_.compare(0, 5, "IFC4X") == 0;
        if (schema_.compare(0, 3, "IFC") != 0)
            throw PackError("not an IFC file (schema " + schema_ + ")");
        if (future_)
            edits_.push_back({quote + 1, close - 1, "IFC4"});
    }

    void scanData()
    {
        size_t i = t_.find("DATA;");
        while (i != std::string::npos && i > 0 && !std::isspace(static_cast<unsigned char>(t_[i - 1])) &&
               t_[i - 1] != ';')
            i = t_.find("DATA;", i + 5);
        if (i == std::string::npos)
            throw PackError("no DATA section");
        i += 5;
        while (true) {
            i = skipBlank(t_, i);
            if (i >= t_.size())
                break;
            if (t_.compare(i, 6, "ENDSEC") == 0) {
                dataEnd_ = i;
                break;
            }
            if (t_[i] != '#') {  // not an instance: leave it to the library
                i = skipToSemicolon(i);
                continue;
            }
            Instance in;
            in.start = i;
            uint64_t id = 0;
            size_t j = i + 1;
            while (j < t_.size() && std::isdigit(static_cast<unsigned char>(t_[j]))) {
                id = id * 10 + static_cast<uint64_t>(t_[j] - '0');
                if (id > INT_MAX)
                    throw RefusedInput("entity id " + t_.substr(i, std::min<size_t>(j - i + 2, 24)) + "... is out of range");
                ++j;
            }
            in.id = static_cast<uint32_t>(id);
            j = skipBlank(t_, j);
            if (j >= t_.size() || t_[j] != '=') {
                i = skipToSemicolon(i);
                continue;
            }
            j = skipBlank(t_, j + 1);
            const size_t typeStart = j;
            while (j < t_.size() && (std::isalnum(static_cast<unsigned char>(t_[j])) || t_[j] == '_'))
                ++j;
            in.type = {typeStart, j};
            j = skipBlank(t_, j);
            in.firstRef = static_cast<uint32_t>(refs_.size());
            size_t open = j, close = 0;
            int depth = 0;
            for (; j < t_.size(); ++j) {
                const char c = t_[j];
                if (c == '\'') {
                    j = skipString(t_, j) - 1;
                } else if (c == '(') {
                    ++depth;
                } else if (c == ')') {
                    if (--depth == 0 && close == 0)
                        close = j;
                } else if (c == '#' && depth > 0) {
                    uint64_t ref = 0;
                    size_t k = j + 1;
                    while (k < t_.size() && std::isdigit(static_cast<unsigned char>(t_[k])) && ref <= INT_MAX)
                        ref = ref * 10 + static_cast<uint64_t>(t_[k++] - '0');
                    if (k > j + 1 && ref <= INT_MAX)
                        refs_.push_back(static_cast<uint32_t>(ref));
                    j = k - 1;
                } else if (c == ';' && depth <= 0) {
                    break;
                } else if (c == '/' && j + 1 < t_.size() && t_[j + 1] == '*') {
                    const size_t end = t_.find("*/", j + 2);
                    j = end == std::string::npos ? t_.size() : end + 1;
                }
            }
            in.refCount = static_cast<uint32_t>(refs_.size() - in.firstRef);
            in.end = std::min(j + 1, t_.size());
            if (open < t_.size() && t_[open] == '(' && close > open)
                in.args = {open, close};
            maxId_ = std::max(maxId_, id);
            instances_.push_back(in);
            i = in.end;
        }
        // A cut file may still hold whole instances: refused all the same,
        // rather than shown with parts missing.
        if (dataEnd_ == 0)
            throw RefusedInput("truncated: the DATA section does not end");
        if (t_.find("END-ISO-10303-21", dataEnd_) == std::string::npos)
            throw RefusedInput("truncated: no END-ISO-10303-21 after the data");
        byId_.reserve(instances_.size());
        for (uint32_t k = 0; k < instances_.size(); ++k)
            byId_.emplace_back(instances_[k].id, k);
        std::sort(byId_.begin(), byId_.end());
    }

    size_t skipToSemicolon(size_t i)
    {
        for (; i < t_.size(); ++i) {
            if (t_[i] == '\'')
                i = skipString(t_, i) - 1;
            else if (t_[i] == ';')
                return i + 1;
        }
        return t_.size();
    }

    const Instance* find(uint32_t id) const
    {
        const auto it = std::lower_bound(byId_.begin(), byId_.end(), std::make_pair(id, 0u));
        return it != byId_.end() && it->first == id ? &instances_[it->second] : nullptr;
    }

    // Depth-first over the references, without recursion: a back edge is a
    // cycle; depth counts the longest chain below an instance.
    void checkReferences()
    {
        const size_t n = instances_.size();
        std::vector<uint8_t> state(n, 0);  // 0 new, 1 on the path, 2 done
        std::vector<uint32_t> depth(n, 0);
        struct Frame {
            uint32_t node, next;
        };
        std::vector<Frame> path;
        const auto indexOf = [&](uint32_t id) -> int64_t {
            const auto it = std::lower_bound(byId_.begin(), byId_.end(), std::make_pair(id, 0u));
            return it != byId_.end() && it->first == id ? static_cast<int64_t>(it->second) : int64_t(-1);
        };
        for (uint32_t root = 0; root < n; ++root) {
            if (state[root])
                continue;
            path.push_back({root, 0});
            state[root] = 1;
            while (!path.empty()) {
                Frame& f = path.back();
                const Instance& in = instances_[f.node];
                if (f.next == in.refCount) {
                    state[f.node] = 2;
                    const uint32_t d = depth[f.node];
                    path.pop_back();
                    if (!path.empty())
                        depth[path.back().node] = std::max(depth[path.back().node], d + 1);
                    continue;
                }
                const int64_t child = indexOf(refs_[in.firstRef + f.next++]);
                if (child < 0)
                    continue;
                if (state[child] == 1)
                    throw RefusedInput("a cycle of references through #" + std::to_string(instances_[child].id));
                if (state[child] == 2) {
                    depth[f.node] = std::max(depth[f.node], depth[child] + 1);
                    continue;
                }
                if (path.size() >= limits_.maxDepth)
                    throw RefusedInput("references nest deeper than " + std::to_string(limits_.maxDepth) + " at #" +
                                    std::to_string(in.id));
                state[child] = 1;
                path.push_back({static_cast<uint32_t>(child), 0});
            }
        }
        refs_.clear();
        refs_.shrink_to_fit();
    }

    void rewrite(const Instance& in)
    {
        if (in.args.second == 0)
            return;
        const std::string type = upper(t_, in.type);
        const std::string head = "#" + std::to_string(in.id) + "=";
        if (type == "IFCCARTESIANPOINTLIST2D" || type == "IFCCARTESIANPOINTLIST3D") {
            // The tag list (a later addition) is not read by the library.
            const std::vector<Span> a = splitList(t_, in.args.first, in.args.second);
            if (a.size() == 2) {
                edits_.push_back({in.start, in.end, head + type + "(" + piece(a[0]) + ");"});
                ++mapped_;
            }
        } else if (type == "IFCINDEXEDPOLYCURVE") {
            polyCurve(in, head);
        } else if (future_ && (type == "IFCTRIANGULATEDFACESET" || type == "IFCTRIANGULATEDIRREGULARNETWORK")) {
            // IFC4X3 moved Closed before Normals; the network's flags have no IFC4 place.
            const std::vector<Span> a = splitList(t_, in.args.first, in.args.second);
            if (a.size() >= 5) {
                edits_.push_back({in.start, in.end,
                                  head + "IFCTRIANGULATEDFACESET(" + piece(a[0]) + "," + piece(a[2]) + "," + piece(a[1]) +
                                      "," + piece(a[3]) + "," + piece(a[4]) + ");"});
                ++mapped_;
            }
        }
    }

    std::string piece(Span s) const { return t_.substr(s.first, s.second - s.first); }

    // The points of a point list, three coordinates each; false if unreadable.
    bool pointList(uint32_t id, std::vector<Point>& points, int& dimensions) const
    {
        const Instance* list = find(id);
        if (!list || list->args.second == 0)
            return false;
        const std::string type = upper(t_, list->type);
        dimensions = type == "IFCCARTESIANPOINTLIST2D" ? 2 : (type == "IFCCARTESIANPOINTLIST3D" ? 3 : 0);
        if (!dimensions)
            return false;
        const std::vector<Span> a = splitList(t_, list->args.first, list->args.second);
        Span coords;
        if (a.empty() || !inner(t_, a[0], coords))
            return false;
        for (const Span& p : splitList(t_, coords.first, coords.second)) {
            std::vector<double> v;
            if (!numbers(t_, p, v) || static_cast<int>(v.size()) < dimensions)
                return false;
            points.push_back({v[0], v[1], dimensions == 3 ? v[2] : 0.0});
        }
        return true;
    }

    void polyCurve(const Instance& in, const std::string& head)
    {
        const std::vector<Span> a = splitList(t_, in.args.first, in.args.second);
        if (a.empty() || t_[a[0].first] != '#')
            return;
        std::vector<Point> points;
        int dimensions = 0;
        if (!pointList(static_cast<uint32_t>(std::strtoul(t_.c_str() + a[0].first + 1, nullptr, 10)), points,
                       dimensions) ||
            points.size() < 2)
            return;
        std::vector<Point> line;
        const bool segmented = a.size() >= 2 && piece(a[1]) != "$";
        if (!segmented) {
            line = points;
        } else {
            Span list;
            if (!inner(t_, a[1], list))
                return;
            for (const Span& s : splitList(t_, list.first, list.second)) {
                const size_t open = t_.find('(', s.first);
                if (open == std::string::npos || open >= s.second)
                    return;
                const std::string kind = upper(t_, {s.first, open});
                Span arguments;
                std::vector<double> index;
                if (!inner(t_, {open, s.second}, arguments))
                    return;
                const std::vector<Span> inside = splitList(t_, arguments.first, arguments.second);
                if (inside.size() != 1 || !numbers(t_, inside[0], index))
                    return;
                std::vector<Point> at;
                for (double k : index) {
                    if (k < 1 || k > static_cast<double>(points.size()))
                        return;
                    at.push_back(points[static_cast<size_t>(k) - 1]);
                }
                if (at.empty())
                    return;
                if (line.empty())
                    line.push_back(at[0]);
                if (kind == "IFCARCINDEX" && at.size() == 3)
                    arc(at[0], at[1], at[2], line);
                else
                    line.insert(line.end(), at.begin() + 1, at.end());
            }
        }
        if (line.size() < 2)
            return;
        std::string ids;
        for (const Point& p : line) {
            const uint64_t id = ++maxId_;
            if (maxId_ > INT_MAX)
                throw RefusedInput("too many entities to divide the curves");
            added_ += "#" + std::to_string(id) + "=IFCCARTESIANPOINT((" + real(p[0]) + "," + real(p[1]) +
                      (dimensions == 3 ? "," + real(p[2]) : std::string()) + "));\n";
            ids += (ids.empty() ? "#" : ",#") + std::to_string(id);
        }
        edits_.push_back({in.start, in.end, head + "IFCPOLYLINE((" + ids + "));"});
        ++curves_;
    }

    std::string apply()
    {
        if (edits_.empty() && added_.empty())
            return std::move(t_);
        std::sort(edits_.begin(), edits_.end(), [](const Edit& a, const Edit& b) { return a.start < b.start; });
        std::string out;
        out.reserve(t_.size() + added_.size() + 1024);
        size_t at = 0;
        for (const Edit& e : edits_) {
            if (e.start < at)
                continue;
            if (at <= dataEnd_ && dataEnd_ < e.start) {
                out.append(t_, at, dataEnd_ - at);
                out += added_;
                added_.clear();
                at = dataEnd_;
            }
            out.append(t_, at, e.start - at);
            out += e.text;
            at = e.end;
        }
        if (at <= dataEnd_) {
            out.append(t_, at, dataEnd_ - at);
            at = dataEnd_;
        }
        out += added_;
        out.append(t_, at, std::string::npos);
        return out;
    }

    std::string t_;
    StepLimits limits_;
    std::string schema_;
    bool future_ = false;
    std::vector<Instance> instances_;
    std::vector<std::pair<uint32_t, uint32_t>> byId_;
    std::vector<uint32_t> refs_;
    std::vector<Edit> edits_;
    std::string added_;
    uint64_t maxId_ = 0;
    size_t dataEnd_ = 0;
    uint64_t curves_ = 0, mapped_ = 0;
};

} // namespace

PreparedStep prepareStep(std::string text, const StepLimits& limits)
{
    return Preparer(std::move(text), limits).run();
}

} // namespace VeldaPack
