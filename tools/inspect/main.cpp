// velda-inspect: prints a project file (index, props, .me/.mt bundle, or a
// bare document) as JSON.
#include "inspect/ProjectJson.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "usage: velda-inspect [--doc | --index | --props | --bundle] [--compact] FILE\n"
    "  Prints a project file as JSON. Without a kind switch the name decides:\n"
    "  \"index\" is a scene index, \"props\" the objects' properties, *.me and *.mt\n"
    "  are bundles.\n";

int fail(const std::string& file, const std::string& why)
{
    std::cerr << "velda-inspect: " << file << ": " << why << "\n";
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    using VeldaTools::FileKind;
    bool kindGiven = false;
    bool pretty = true;
    FileKind kind = FileKind::Document;
    std::string path;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--doc") {
            kind = FileKind::Document;
            kindGiven = true;
        } else if (a == "--index") {
            kind = FileKind::Index;
            kindGiven = true;
        } else if (a == "--props") {
            kind = FileKind::Props;
            kindGiven = true;
        } else if (a == "--bundle") {
            kind = FileKind::Bundle;
            kindGiven = true;
        } else if (a == "--compact") {
            pretty = false;
        } else if (a == "-h" || a == "--help") {
            std::cout << kUsage;
            return 0;
        } else if (!a.empty() && a[0] == '-' && a != "-") {
            std::cerr << "velda-inspect: unknown option " << a << "\n" << kUsage;
            return 2;
        } else if (path.empty()) {
            path = a;
        } else {
            std::cerr << "velda-inspect: one file at a time\n" << kUsage;
            return 2;
        }
    }
    if (path.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    if (!kindGiven && !VeldaTools::kindFromName(path, kind))
        return fail(path, "cannot tell the kind of file from its name; use --doc, --index, --props or --bundle");

    std::ifstream in(path, std::ios::binary);
    if (!in)
        return fail(path, std::strerror(errno));
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        return fail(path, "read error");

    try {
        std::cout << VeldaTools::inspectBytes(bytes.data(), bytes.size(), kind, pretty) << "\n";
    } catch (const VeldaTools::InspectError& e) {
        if (!e.partialJson.empty())
            std::cout << e.partialJson << "\n";
        return fail(path, e.what());
    } catch (const std::exception& e) {
        return fail(path, e.what());
    }
    return 0;
}
