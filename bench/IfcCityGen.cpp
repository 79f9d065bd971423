// Writes a large IFC4 file for the packer's figures: storeys of walls, each
// with an opening and a window, a slab a storey, and property and quantity
// sets on every wall, until the file reaches the size asked for.
//   bench_ifc_city OUTPUT.ifc [MEGABYTES]
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

class Out {
public:
    explicit Out(FILE* f) : f_(f) {}
    // Writes "#n=text;" and returns n.
    long line(const std::string& text)
    {
        std::fprintf(f_, "#%ld=%s;\n", ++id_, text.c_str());
        return id_;
    }
    static std::string ref(long id) { return "#" + std::to_string(id); }
    std::string guid()
    {
        static const char digits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_$";
        std::string g(22, '0');
        unsigned long long n = ++guids_ * 2654435761ull;
        for (int i = 21; i >= 0; --i, n /= 64)
            g[static_cast<size_t>(i)] = digits[n % 64];
        return "'" + g + "'";
    }
    long bytes() const { return std::ftell(f_); }

private:
    FILE* f_;
    long id_ = 0;
    unsigned long long guids_ = 0;
};

std::string num(double v)
{
    char t[32];
    std::snprintf(t, sizeof t, "%.1f", v);
    return t;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_ifc_city OUTPUT.ifc [MEGABYTES]\n");
        return 2;
    }
    const long target = (argc > 2 ? std::atol(argv[2]) : 50) * 1024L * 1024L;
    FILE* f = std::fopen(argv[1], "w");
    if (!f)
        return 1;
    std::fprintf(f, "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\n"
                    "FILE_NAME('city.ifc','2026-01-01T00:00:00',(''),(''),'','bench_ifc_city','');\n"
                    "FILE_SCHEMA(('IFC4'));\nENDSEC;\nDATA;\n");
    Out o(f);
    const long mm = o.line("IFCSIUNIT(*,.LENGTHUNIT.,.MILLI.,.METRE.)");
    const long m2 = o.line("IFCSIUNIT(*,.AREAUNIT.,$,.SQUARE_METRE.)");
    const long units = o.line("IFCUNITASSIGNMENT((" + Out::ref(mm) + "," + Out::ref(m2) + "))");
    const long origin = o.line("IFCCARTESIANPOINT((0.,0.,0.))");
    const long z = o.line("IFCDIRECTION((0.,0.,1.))");
    const long x = o.line("IFCDIRECTION((1.,0.,0.))");
    const long axes = o.line("IFCAXIS2PLACEMENT3D(" + Out::ref(origin) + "," + Out::ref(z) + "," + Out::ref(x) + ")");
    const long context = o.line("IFCGEOMETRICREPRESENTATIONCONTEXT($,'Model',3,1.E-05," + Out::ref(axes) + ",$)");
    const long p2 = o.line("IFCCARTESIANPOINT((0.,0.))");
    const long centre = o.line("IFCAXIS2PLACEMENT2D(" + Out::ref(p2) + ",$)");
    const long project = o.line("IFCPROJECT(" + o.guid() + ",$,'City',$,$,$,$,(" + Out::ref(context) + ")," +
                                Out::ref(units) + ")");
    const long sitePlace = o.line("IFCLOCALPLACEMENT($," + Out::ref(axes) + ")");
    const long site = o.line("IFCSITE(" + o.guid() + ",$,'Site',$,$," + Out::ref(sitePlace) + ",$,$,.ELEMENT.,$,$,$,$,$)");
    o.line("IFCRELAGGREGATES(" + o.guid() + ",$,$,$," + Out::ref(project) + ",(" + Out::ref(site) + "))");
    const auto style = [&](double r, double g, double b, double t) {
        const long c = o.line("IFCCOLOURRGB($," + num(r) + "," + num(g) + "," + num(b) + ")");
        const long s = o.line("IFCSURFACESTYLESHADING(" + Out::ref(c) + "," + num(t) + ")");
        return o.line("IFCSURFACESTYLE($,.BOTH.,(" + Out::ref(s) + "))");
    };
    const long brick = style(0.7, 0.3, 0.2, 0.0), glass = style(0.3, 0.5, 0.9, 0.6), concrete = style(0.6, 0.6, 0.6, 0.0);
    const auto body = [&](long profile, double depth, long styleId) {
        const long solid = o.line("IFCEXTRUDEDAREASOLID(" + Out::ref(profile) + "," + Out::ref(axes) + "," +
                                  Out::ref(z) + "," + num(depth) + ")");
        o.line("IFCSTYLEDITEM(" + Out::ref(solid) + ",(" + Out::ref(styleId) + "),$)");
        const long shape = o.line("IFCSHAPEREPRESENTATION(" + Out::ref(context) + ",'Body','SweptSolid',(" +
                                  Out::ref(solid) + "))");
        return o.line("IFCPRODUCTDEFINITIONSHAPE($,$,(" + Out::ref(shape) + "))");
    };
    const auto place = [&](long relTo, double px, double py, double pz) {
        const long p = o.line("IFCCARTESIANPOINT((" + num(px) + "," + num(py) + "," + num(pz) + "))");
        const long a = o.line("IFCAXIS2PLACEMENT3D(" + Out::ref(p) + "," + Out::ref(z) + "," + Out::ref(x) + ")");
        return o.line("IFCLOCALPLACEMENT(" + (relTo ? Out::ref(relTo) : std::string("$")) + "," + Out::ref(a) + ")");
    };
    const long wallProfile = o.line("IFCRECTANGLEPROFILEDEF(.AREA.,$," + Out::ref(centre) + ",4000.,200.)");
    const long holeProfile = o.line("IFCRECTANGLEPROFILEDEF(.AREA.,$," + Out::ref(centre) + ",1000.,600.)");
    const long paneProfile = o.line("IFCRECTANGLEPROFILEDEF(.AREA.,$," + Out::ref(centre) + ",1000.,50.)");
    const long slabProfile = o.line("IFCRECTANGLEPROFILEDEF(.AREA.,$," + Out::ref(centre) + ",40000.,40000.)");

    // Buildings of ten storeys on a grid, walls in rows of ten.
    for (int building = 0; o.bytes() < target; ++building) {
        const double bx = (building % 20) * 50000.0, by = (building / 20) * 50000.0;
        const long bPlace = place(sitePlace, bx, by, 0);
        const long b = o.line("IFCBUILDING(" + o.guid() + ",$,'Building " + std::to_string(building) + "',$,$," +
                              Out::ref(bPlace) + ",$,$,.ELEMENT.,$,$,$)");
        o.line("IFCRELAGGREGATES(" + o.guid() + ",$,$,$," + Out::ref(site) + ",(" + Out::ref(b) + "))");
        std::string storeys;
        for (int level = 0; level < 10 && o.bytes() < target; ++level) {
            const long sPlace = place(bPlace, 0, 0, level * 3200.0);
            const long storey = o.line("IFCBUILDINGSTOREY(" + o.guid() + ",$,'Level " + std::to_string(level) +
                                       "',$,$," + Out::ref(sPlace) + ",$,$,.ELEMENT.," + num(level * 3200.0) + ")");
            storeys += (storeys.empty() ? "" : ",") + Out::ref(storey);
            std::string contained;
            const long slabPlace = place(sPlace, 20000, 20000, -200);
            const long slab = o.line("IFCSLAB(" + o.guid() + ",$,'Slab',$,$," + Out::ref(slabPlace) + "," +
                                     Out::ref(body(slabProfile, 200, concrete)) + ",$,.FLOOR.)");
            contained += Out::ref(slab);
            for (int w = 0; w < 100; ++w) {
                const long wPlace = place(sPlace, (w % 10) * 4000.0 + 2000.0, (w / 10) * 4000.0 + 100.0, 0);
                const long wall = o.line("IFCWALL(" + o.guid() + ",$,'Wall " + std::to_string(w) + "',$,$," +
                                         Out::ref(wPlace) + "," + Out::ref(body(wallProfile, 3000, brick)) +
                                         ",$,.STANDARD.)");
                const long hPlace = place(wPlace, 0, 0, 900);
                const long hole = o.line("IFCOPENINGELEMENT(" + o.guid() + ",$,'Opening',$,$," + Out::ref(hPlace) +
                                         "," + Out::ref(body(holeProfile, 1200, brick)) + ",$,.OPENING.)");
                o.line("IFCRELVOIDSELEMENT(" + o.guid() + ",$,$,$," + Out::ref(wall) + "," + Out::ref(hole) + ")");
                const long window = o.line("IFCWINDOW(" + o.guid() + ",$,'Window',$,$," + Out::ref(hPlace) + "," +
                                           Out::ref(body(paneProfile, 1200, glass)) +
                                           ",$,1200.,1000.,.WINDOW.,.SINGLE_PANEL.,$)");
                o.line("IFCRELFILLSELEMENT(" + o.guid() + ",$,$,$," + Out::ref(hole) + "," + Out::ref(window) + ")");
                std::string props;
                const char* names[] = {"IsExternal", "LoadBearing", "Reference", "FireRating", "AcousticRating"};
                const std::string values[] = {"IFCBOOLEAN(.T.)", "IFCBOOLEAN(.F.)", "IFCIDENTIFIER('W-" +
                                        std::to_string(w) + "')", "IFCLABEL('EI 90')", "IFCLABEL('45 dB')"};
                for (int k = 0; k < 5; ++k)
                    props += (k ? "," : "") + Out::ref(o.line(std::string("IFCPROPERTYSINGLEVALUE('") + names[k] +
                                                              "',$," + values[k] + ",$)"));
                const long pset = o.line("IFCPROPERTYSET(" + o.guid() + ",$,'Pset_WallCommon',$,(" + props + "))");
                o.line("IFCRELDEFINESBYPROPERTIES(" + o.guid() + ",$,$,$,(" + Out::ref(wall) + ")," + Out::ref(pset) +
                       ")");
                const long length = o.line("IFCQUANTITYLENGTH('Length',$,$,4000.,$)");
                const long area = o.line("IFCQUANTITYAREA('NetSideArea',$,$,10.8,$)");
                const long qto = o.line("IFCELEMENTQUANTITY(" + o.guid() + ",$,'Qto_WallBaseQuantities',$,$,(" +
                                        Out::ref(length) + "," + Out::ref(area) + "))");
                o.line("IFCRELDEFINESBYPROPERTIES(" + o.guid() + ",$,$,$,(" + Out::ref(wall) + ")," + Out::ref(qto) +
                       ")");
                contained += "," + Out::ref(wall) + "," + Out::ref(window);
            }
            o.line("IFCRELCONTAINEDINSPATIALSTRUCTURE(" + o.guid() + ",$,$,$,(" + contained + ")," +
                   Out::ref(storey) + ")");
        }
        o.line("IFCRELAGGREGATES(" + o.guid() + ",$,$,$," + Out::ref(b) + ",(" + storeys + "))");
    }
    std::fprintf(f, "ENDSEC;\nEND-ISO-10303-21;\n");
    std::fclose(f);
    return 0;
}
