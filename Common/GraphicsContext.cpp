#include <GL/glew.h>

#include "Common/GraphicsContext.h"

#include "Common/IndexInfo.h"
#include "assets/AssetBinary.h"
#include "assets/AssetManager.h"
#include "assets/DiskCache.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "render/Context3d.h"
#include "scene/Camera.h"
#include "scene/SceneBuilder.h"
#include "scene/SceneRoot.h"
#include "scene/SpotLight.h"
#include "service/QemDllImport.h"

#include <QSysInfo>

#include <cmath>

namespace VeldaClient {

namespace {

GraphicsContext* g_instance = nullptr;

// The images of SkyResources/img/, in the order they are queued. The last
// one is a single address whose bars make a cube texture of six faces.
const char* const kSkyImages[] = {
    "光圈.png",
    "光圈圆点-内环(划过).png",
    "光圈圆点-内环.png",
    "光圈圆点-外环(划过).png",
    "光圈圆点-外环.png",
    "color.jpg",
    "water.jpg",
    "rt.jpg|lf.jpg|bk.jpg|ft.jpg|up.jpg|dn.jpg",
};

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
    initializing_ = true;
    scene_.reset(new Velda::SceneRoot());
    context3d_ = Velda::Context3d::instance();

    camera_ = static_cast<Velda::Camera*>(scene_->createObject(Velda::SceneRoot::kCamera));
    camera_->setFar(15.0f);
    camera_->setNear(0.01f);
    camera_->setFov(1.0471975f);
    camera_->setProjectionType(Velda::Camera::kPerspective);
    camera_->setOrthoBounds(-0.8f, 0.8f, -0.6f, 0.6f);
    camera_->setClearColor(0.5411765f, 0.6784314f, 0.8156863f, 1.0f);
    rotationSpeed_ = 0.0045f;

    const float degree = 3.1415925f / 180.0f;
    spotLight_ = static_cast<Velda::SpotLight*>(scene_->createObject(Velda::SceneRoot::kSpotLight));
    spotLight_->setColor(1.0f, 1.0f, 1.0f);
    spotLight_->setPosition(2.0f, 1.0f, 4.0f);
    spotLight_->setDirection(Velda::Vector3(-40.0f, -40.0f, -80.0f).normalized());
    spotLight_->setLinear(0.0014f);
    spotLight_->setQuadratic(0.000007f);
    spotLight_->setConstant(1.0f);
    spotLight_->setInnerCos(std::cos(35.0f * degree));
    spotLight_->setOuterCos(std::cos(50.0f * degree));
    spotLight_->setCastShadow(true);
    initializing_ = false;
}

GraphicsContext::~GraphicsContext()
{
    // The renderer goes first, so that the asset deletions below don't reach it.
    Velda::Context3d::destroyInstance();
    context3d_ = nullptr;
    builder_.reset();
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
    builder_.reset(new Velda::SceneBuilder(scene_.get(), camera_, assets));
    VLOG << "os init.";
    context3d_->initialize();
    VLOG << "Context3d init.";

    glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
    glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    glHint(GL_FRAGMENT_SHADER_DERIVATIVE_HINT, GL_NICEST);

    const std::string sky = programFolder() + "/SkyResources/";
    skyIndexPath_ = Velda::DiskCache::localAddress(sky + "index");
    assets->loadBinary(skyIndexPath_, [this](void* asset) { return _loadSkyCallback(asset); });
    for (const char* image : kSkyImages)
        assets->load(Velda::DiskCache::localAddress(sky + "img/" + image), Velda::Callback());

    const std::string appData = appDataFolder();
    assets->setBaseFolder(appData);
    Velda::DiskCache::setRoot(appData);
    VLOG << "Load internal asset.";

    projectRoot_ = rootPath_;
    rootPath_ += "index";
    VLOG << "Begin cache processor.";
    Velda::DiskCache::lookup(rootPath_, projectRoot_);
    VLOG << "Download index file.";
    assets->loadBinary(rootPath_, [this](void* asset) { return _loadIndexCallback(asset); });

    initializing_ = false;
    VLOG << "GraphicsContext initialize end";
}

void* GraphicsContext::_loadSkyCallback(void* asset)
{
    VLOG << "load sky callback, parse index info!";
    const auto* file = static_cast<Velda::AssetBinary*>(Velda::Asset::fromCallbackArgument(asset));
    const IndexInfo index(file->data(), file->dataSize());
    builder_->buildSky(index.data(), Velda::DiskCache::localAddress(programFolder() + "/SkyResources/"));
    VLOG << "load sky callback, parse index info over!";
    return nullptr;
}

void* GraphicsContext::_loadIndexCallback(void* asset)
{
    VLOG << "load index callback, parse index info!";
    const auto* file = static_cast<Velda::AssetBinary*>(Velda::Asset::fromCallbackArgument(asset));
    const IndexInfo index(file->data(), file->dataSize());
    builder_->buildProject(index.data(), projectRoot_);
    VLOG << "load index callback, parse index info over!";
    return nullptr;
}

void GraphicsContext::setOrbitPivot(const Velda::Vector3& pivot)
{
    orbitPivot_ = pivot;
    for (const PivotListener& listener : pivotListeners_)
        listener(orbitPivot_);
}

void GraphicsContext::addPivotListener(PivotListener listener)
{
    pivotListeners_.push_back(std::move(listener));
}

ProjectInfo* GraphicsContext::projectInfo()
{
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

std::string GraphicsContext::programFolder() const
{
    return Velda::Platform::programFolder();
}

std::string GraphicsContext::appDataFolder() const
{
    return Velda::Platform::appDataFolder();
}

} // namespace VeldaClient
