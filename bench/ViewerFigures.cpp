// What the viewer costs for the FZK house served by velda-service: from the
// process start to the first frame that draws an object and to the ready
// scene, with an empty and with a filled cache; frames a second while the
// scene loads and when it stands still; the peak resident memory.
//   viewer_figures            (under an X server, e.g. xvfb-run)
// The viewer runs in a child process of this program, once per cache state.
#include "ViewerSession.h"

#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/WidgetGLView.h"
#include "UserInterface/Widgets/WidgetMainCentralView.h"
#include "assets/AssetManager.h"
#include "formats/Geometry.h"
#include "log/Log.h"

#include <QEvent>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <unistd.h>

using namespace VeldaClient;

namespace {

// Milliseconds since this process started (10 ms grain of the kernel's start time).
double msSinceProcessStart()
{
    std::ifstream in("/proc/self/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const char* fields = std::strrchr(stat.c_str(), ')');
    unsigned long long start = 0;
    // After the command name: state is field 3, the start time field 22.
    std::sscanf(fields + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &start);
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return (now.tv_sec + now.tv_nsec / 1e9) * 1000.0 - start * 1000.0 / sysconf(_SC_CLK_TCK);
}

long peakMemoryKb()
{
    std::ifstream in("/proc/self/status");
    long kb = 0;
    for (std::string line; std::getline(in, line);)
        if (std::sscanf(line.c_str(), "VmHWM: %ld kB", &kb) == 1)
            break;
    return kb;
}

// Watches the frames (the paints of the GL view) of a running viewer.
class FrameWatch : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != QEvent::Paint)
            return false;
        const double now = msSinceProcessStart();
        ++frames;
        if (firstFrame < 0)
            firstFrame = now;
        // Faces uploaded before this frame are drawn in it.
        if (firstObject < 0 && Velda::Geometry::triangleTotal() > 0)
            firstObject = now;
        Velda::AssetManager* assets = Velda::AssetManager::instance();
        if (ready < 0 && assets && assets->isReady()) {
            ready = now;
            framesAtReady = frames;
        }
        if (ready >= 0 && now - ready >= 3000.0) {
            stillFps = (frames - framesAtReady) * 1000.0 / (now - ready);
            QApplication::closeAllWindows();
        }
        return false;
    }

    int frames = 0;
    int framesAtReady = 0;
    double firstFrame = -1.0;
    double firstObject = -1.0;
    double ready = -1.0;
    double stillFps = 0.0;
};

int runViewer(int argc, char** argv)
{
    Velda::Log::configure(1, argv);
    if (initializeProjectContext())
        return 2;
    ApplicationMain application(argc, argv);
    GraphicsContext::instance()->setApplication(&application);
    FormMain* form = new FormMain();
    form->resize(1024, 700);
    form->show();
    FrameWatch watch;
    form->centralView()->glView()->installEventFilter(&watch);
    QTimer::singleShot(180000, []() { QApplication::closeAllWindows(); });
    application.exec();
    const double loading = watch.ready - watch.firstFrame;
    std::printf("first object %.0f ms, ready %.0f ms, %.1f fps while loading, %.1f fps still, peak memory %ld MiB\n",
                watch.firstObject, watch.ready, loading > 0 ? watch.framesAtReady * 1000.0 / loading : 0.0,
                watch.stillFps, peakMemoryKb() / 1024);
    delete form;
    return watch.ready >= 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--run") == 0)
        return runViewer(argc, argv);
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0)
        return 1;
    VeldaTest::ViewerSession session;
    session.login();
    for (const char* cache : {"empty", "filled"}) {
        const VeldaTest::ProcessResult r = VeldaTest::runProcess({self, "--run"});
        std::cout << "FZK house, " << cache << " cache: " << r.out;
        if (!r.exited || r.exitCode != 0) {
            std::cerr << r.err;
            return 1;
        }
    }
    return 0;
}
