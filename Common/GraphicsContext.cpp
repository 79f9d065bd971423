#include <GL/glew.h>

#include "Common/GraphicsContext.h"

#include "Common/ProjectLoader.h"
#include "assets/AssetManager.h"
#include "jobs/JobManager.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SceneRoot.h"
#include "scene/ViewerDefaults.h"
#include "service/QemDllImport.h"
#include "service/ServedViewStore.h"

#include <QSysInfo>

#include <cstdlib>

namespace VeldaClient {

namespace {

GraphicsContext* g_instance = nullptr;

const char* glText(GLenum name)
{
    const GLubyte* text = glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : "";
}

} // namespace

GraphicsContext* GraphicsContext::instance()
{
    if (!g_instance)
        g_instance = new GraphicsContext();
    return g_instance;
}

void GraphicsContext::destroyInstance()
{
    // The pointer stays set while the destructor runs, so accessors work.
    delete g_instance;
    g_instance = nullptr;
}

GraphicsContext::GraphicsContext()
{
    scene_.reset(new Velda::SceneRoot());
    context3d_ = Velda::Context3d::instance();

    camera_ = Velda::createViewerCamera(*scene_);
    spotLight_ = Velda::createViewerSun(*scene_);
    // The specified path, for comparing pictures and costs with it.
    const char* faithful = std::getenv("VELDA_FAITHFUL");
    context3d_->faithful = faithful && std::string(faithful) == "1";
    initializing_ = false;
}

GraphicsContext::~GraphicsContext()
{
    // The renderer goes first, so that the asset deletions below don't reach it.
    Velda::Context3d::destroyInstance();
    context3d_ = nullptr;
    loader_.reset();
    scene_.reset();
    camera_ = nullptr;
    spotLight_ = nullptr;
    delete Velda::AssetManager::instance();
    projectInfo_.reset();
}

void GraphicsContext::initialize()
{
    VLOG << "GraphicsContext initialize begin";
    initializing_ = true;

    VLOG << "Start glew init.";
    glewExperimental = GL_TRUE;
    glewInit();
    VLOG << "Vendor : " << glText(GL_VENDOR);
    VLOG << "Renderer : " << glText(GL_RENDERER);
    VLOG << "GL Version : " << glText(GL_VERSION);
    VLOG << "Product Name : " << QSysInfo::prettyProductName().toStdString();
    VLOG << "CPU Architecture : " << QSysInfo::currentCpuArchitecture().toStdString();

    Velda::AssetManager* assets = new Velda::AssetManager(context3d_);
    VLOG << "os init.";
    context3d_->initialize();
    VLOG << "Context3d init.";
    if (context3d_->faithful)
        VLOG << "Faithful frames: every 20 ms, full size";
    // The specified path keeps every mesh's copies and lets the worker run
    // ahead; the fast one drops what it merged and parses a few files ahead.
    assets->setKeepGeometryCopies(context3d_->faithful);
    Velda::JobManager::instance().setFinishedLimit(context3d_->faithful ? 0 : 32);

    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    glHint(GL_FRAGMENT_SHADER_DERIVATIVE_HINT, GL_NICEST);

    // The sky's index and images, then the project's index (from the cache
    // when it holds the project); the loader's callbacks build the scene.
    loader_.reset(new ProjectLoader(scene_.get(), camera_, assets));
    loader_->start(programFolder(), appDataFolder(), rootPath_, projectRoot_);

    initializing_ = false;
    VLOG << "GraphicsContext initialize end";
}

const Velda::ProjectProps* GraphicsContext::projectProps() const
{
    return loader_ ? loader_->props() : nullptr;
}

float GraphicsContext::sceneScale() const
{
    return loader_ ? loader_->sceneScale() : 1.0f;
}

void GraphicsContext::setOrbitPivot(const Velda::Vector3& pivot)
{
    orbitPivot_ = pivot;
    for (const PivotListener& listener : pivotListeners_)
        listener(orbitPivot_);
}

void GraphicsContext::flightStarted()
{
    ++flights_;
    emit frameRequested();
}

void GraphicsContext::flightEnded()
{
    if (flights_ > 0)
        --flights_;
    emit frameRequested();
}

void GraphicsContext::addPivotListener(PivotListener listener)
{
    pivotListeners_.push_back(std::move(listener));
}

ProjectInfo* GraphicsContext::projectInfo()
{
    std::lock_guard<std::mutex> lock(projectInfoMutex_);
    if (projectInfoPreset_)
        return projectInfo_.get();
    UserSignInfo user;
    if (!projectInfo_) {
        projectInfo_.reset(new ProjectInfo());
        ProjectInfoOut project;
        if (QemDllImport::readProjectInfo(project))
            projectInfo_->projectid = project.projectId;
        if (QemDllImport::readUserSignInfo(0, user)) {
            projectInfo_->qemid = user.qemid;
            projectInfo_->userName = Velda::utf16ToWide(user.userName, 50);
            projectInfo_->signText = Velda::utf16ToWide(user.signText, 128);
        }
        return projectInfo_.get();
    }
    if (QemDllImport::readUserSignInfo(projectInfo_->qemid, user))
        projectInfo_->signText = Velda::utf16ToWide(user.signText, 128);
    return projectInfo_.get();
}

void GraphicsContext::presetProjectInfo(const ProjectInfo& info)
{
    std::lock_guard<std::mutex> lock(projectInfoMutex_);
    projectInfo_.reset(new ProjectInfo(info));
    projectInfoPreset_ = true;
}

SavedViewStore* GraphicsContext::savedViewStore()
{
    if (!savedViewStore_)
        savedViewStore_.reset(new ServedViewStore());
    return savedViewStore_.get();
}

void GraphicsContext::setSavedViewStore(std::unique_ptr<SavedViewStore> store)
{
    savedViewStore_ = std::move(store);
}

std::wstring GraphicsContext::signText()
{
    std::lock_guard<std::mutex> lock(projectInfoMutex_);
    return projectInfo_ ? projectInfo_->signText : std::wstring();
}

std::string GraphicsContext::programFolder() const
{
    return Velda::Platform::programFolder();
}

std::string GraphicsContext::appDataFolder() const
{
    return Velda::Platform::appDataFolder();
}

} // namespace VeldaClient
