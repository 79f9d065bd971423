// velda-render: draws a project to a PNG with no window and no X server.
#include "EglContext.h"
#include "PngWriter.h"
#include "ProjectRenderer.h"
#include "RenderOptions.h"
#include "RenderReport.h"

#include <iostream>
#include <stdexcept>
#include <string>

namespace {

// Failures are promised as one line; driver and compiler texts may not be.
std::string oneLine(std::string text)
{
    for (char& c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

int run(int argc, char** argv)
{
    using namespace VeldaRender;
    if (wantsUsage(argc, argv)) {
        std::cout << usage();
        return 0;
    }
    const RenderOptions options = parseRenderOptions(argc, argv);
    EglContext context;
    RenderReport report;
    const std::vector<unsigned char> picture = renderProject(options, report);
    writePng(options.output, options.width, options.height, picture);
    for (const std::string& probe : report.probes)
        std::cout << probe << std::endl;
    if (options.report) {
        report.peakKiB = peakMemoryKiB();
        std::cout << reportJson(report) << std::endl;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << "velda-render: " << oneLine(e.what()) << std::endl;
    } catch (...) {
        std::cerr << "velda-render: unexpected failure" << std::endl;
    }
    return 1;
}
