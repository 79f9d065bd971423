#include "Common/GraphicsContext.h"

#include "formats/TextHelpers.h"
#include "platform/Platform.h"
#include "service/QemDllImport.h"

namespace VeldaClient {

namespace {
GraphicsContext* g_instance = nullptr;
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

GraphicsContext::GraphicsContext() = default;

GraphicsContext::~GraphicsContext() = default;

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
