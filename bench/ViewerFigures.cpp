// What the viewer costs for a project served by velda-service (the FZK
// house by default), on the fast and on the specified path
// (VELDA_FAITHFUL=1): from the process start to the first frame that draws
// an object and to the ready scene, with an empty and with a filled cache;
// frames a second while the scene loads; frames and CPU time over 10 idle
// seconds after ready; frames a second while a left drag orbits the camera;
// the peak resident memory.
//   viewer_figures [PROJECT_FOLDER] [--fast-only]   (under an X server)
// The viewer runs in a child process of this program, once per path and
// cache state.
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
#include <QMouseEvent>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <sys/resource.h>
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

// CPU seconds this process has used.
double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
}

// Watches the frames (the paints of the GL view) of a running viewer, and
// once the scene is ready runs the idle and the orbit phases.
class FrameWatch : public QObject {
public:
    explicit FrameWatch(QWidget* view) : view_(view) {}

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
            // A second to settle (the full frame after the last change),
            // then ten idle seconds.
            QTimer::singleShot(1000, [this]() { startIdle(); });
        }
        return false;
    }

    void startIdle()
    {
        idleFrames = frames;
        idleCpu = cpuSeconds();
        QTimer::singleShot(10000, [this]() {
            idleFrames = frames - idleFrames;
            idleCpu = (cpuSeconds() - idleCpu) / 10.0 * 100.0;
            startOrbit();
        });
    }

    // A left drag across the view, one step every 20 ms, for 5 seconds.
    void startOrbit()
    {
        const QPoint centre(view_->width() / 2, view_->height() / 2);
        QMouseEvent press(QEvent::MouseButtonPress, centre, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view_, &press);
        orbitFrames = frames;
        const double start = msSinceProcessStart();
        auto* timer = new QTimer(this);
        int step = 0;
        connect(timer, &QTimer::timeout, [this, timer, centre, start, step]() mutable {
            ++step;
            const QPoint at(centre.x() + (step % 200) - 100, centre.y());
            QMouseEvent move(QEvent::MouseMove, at, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(view_, &move);
            const double elapsed = msSinceProcessStart() - start;
            if (elapsed < 5000.0)
                return;
            timer->stop();
            QMouseEvent release(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(view_, &release);
            orbitFps = (frames - orbitFrames) * 1000.0 / elapsed;
            QApplication::closeAllWindows();
        });
        timer->start(20);
    }

    int frames = 0;
    int framesAtReady = 0;
    double firstFrame = -1.0;
    double firstObject = -1.0;
    double ready = -1.0;
    int idleFrames = -1;
    double idleCpu = -1.0;
    int orbitFrames = 0;
    double orbitFps = -1.0;

private:
    QWidget* view_;
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
    QWidget* view = form->centralView()->glView();
    FrameWatch watch(view);
    view->installEventFilter(&watch);
    QTimer::singleShot(600000, []() { QApplication::closeAllWindows(); });
    application.exec();
    const double loading = watch.ready - watch.firstFrame;
    std::printf("first object %.0f ms, ready %.0f ms, %.1f fps loading, idle %d frames and %.1f %% CPU in 10 s, "
                "%.2f fps orbiting, peak memory %ld MiB\n",
                watch.firstObject, watch.ready, loading > 0 ? watch.framesAtReady * 1000.0 / loading : 0.0,
                watch.idleFrames, watch.idleCpu, watch.orbitFps, peakMemoryKb() / 1024);
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
    const std::string project = argc > 1 ? argv[1] : std::string(SAMPLES_PATH) + "/fzk-haus";
    const bool fastOnly = argc > 2 && std::strcmp(argv[2], "--fast-only") == 0;
    for (const char* path : {"fast", "faithful"}) {
        if (fastOnly && std::strcmp(path, "faithful") == 0) {
            std::cout << "faithful: not measured (one file a frame at several seconds a frame)\n";
            continue;
        }
        VeldaTest::ScopedEnv faithful("VELDA_FAITHFUL", std::strcmp(path, "faithful") == 0 ? "1" : "0");
        VeldaTest::ViewerSession session(project);
        session.login();
        for (const char* cache : {"empty", "filled"}) {
            const VeldaTest::ProcessResult r = VeldaTest::runProcess({self, "--run"});
            std::cout << path << ", " << cache << " cache: " << r.out << std::flush;
            if (!r.exited || r.exitCode != 0) {
                std::cerr << r.err;
                return 1;
            }
        }
    }
    return 0;
}
