#include "Common/ViewerArguments.h"

#include <cstring>

namespace VeldaClient {

namespace {

// Qt's options that take the next argument as their value.
bool takesValue(const char* option)
{
    static const char* const kQtValued[] = {"-platform", "-platformpluginpath", "-platformtheme", "-plugin",
                                            "-qwindowgeometry", "-qwindowtitle", "-qwindowicon", "-display",
                                            "-geometry", "-style", "-stylesheet", "-session", "-name", "-title",
                                            "-visual", "-qmljsdebugger"};
    for (const char* valued : kQtValued)
        if (std::strcmp(option, valued) == 0 || (option[0] == '-' && std::strcmp(option + 1, valued) == 0))
            return true;
    return false;
}

} // namespace

const char* const ViewerArguments::kUsage =
    "usage: velda-viewer [-d] [--faithful] [FILE | FOLDER]\n"
    "  Without FILE the companion client says which project to stream from the web service.\n"
    "  FILE: a model (IFC, glTF, OBJ, FBX, COLLADA, 3DS, PLY, STL, ...), packed once into the\n"
    "        application data folder and opened with no client and no service; saved views\n"
    "        are kept on this machine.\n"
    "  FOLDER: a project folder made by velda-pack (holding its index), opened as it is.\n"
    "  -d: write the log (myeasylog.log in the application data folder); only as the first argument.\n"
    "  --faithful: the specified frames and start view, for comparison (as VELDA_FAITHFUL=1).\n";

ViewerArguments ViewerArguments::parse(int argc, char** argv)
{
    ViewerArguments out;
    bool optionsEnd = false;
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        if (!optionsEnd && a[0] == '-' && a[1] != '\0') {
            if (std::strcmp(a, "--") == 0)
                optionsEnd = true;
            else if (std::strcmp(a, "--faithful") == 0)
                out.faithful = true;
            else if (std::strcmp(a, "-h") == 0 || std::strcmp(a, "--help") == 0)
                out.help = true;
            else if (takesValue(a) && i + 1 < argc)
                ++i;
            continue;  // "-d" and the rest are the logger's or Qt's
        }
        if (!out.model.empty()) {
            out.error = "one model at a time: " + out.model + " and " + a;
            return out;
        }
        if (a[0] == '\0') {
            out.error = "an empty model path";
            return out;
        }
        out.model = a;
    }
    return out;
}

} // namespace VeldaClient
