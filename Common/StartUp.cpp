#include "Common/StartUp.h"

#include "Common/GraphicsContext.h"
#include "jobs/HttpTransfer.h"
#include "log/Log.h"
#include "service/JsonText.h"
#include "service/QemDllImport.h"
#include "service/ServiceUrl.h"
#include "service/WebService.h"

#include <rapidjson/document.h>

namespace VeldaClient {

std::string fetchProjectLookup()
{
    return Velda::httpGet(serviceBaseUrl() + "/project/getthreedimensionsdis.action?" + WebService::commonQuery());
}

bool initializeProjectContext()
{
    VLOG << "Initialize Project Context Begin!";
    if (!QemDllImport::isModuleReady())
        return true;
    VLOG << "Qem Ready!";
    VLOG << "Service : " << serviceBaseUrl();

    const std::string body = fetchProjectLookup();
    rapidjson::Document root;
    root.Parse(body.c_str());
    if (root.HasParseError() || !root.IsObject())
        return true;
    if (root.HasMember("errorid") && !(root["errorid"].IsInt() && root["errorid"].GetInt() == 0))
        return true;
    if (!hasString(root, "serveradr") || !hasString(root, "downurl"))
        return true;

    VLOG << "Start load project info!";
    GraphicsContext* context = GraphicsContext::instance();
    ProjectInfo* info = context->projectInfo();
    info->groupname = stringOr(root, "groupname");
    info->groupid = stringOr(root, "groupid");
    info->uploader = stringOr(root, "uploader");
    info->uploaderqemid = stringOr(root, "uploaderqemid");
    info->uploadtime = stringOr(root, "uploadtime");
    info->projectname = stringOr(root, "projectname");
    VLOG << "Project Id : " << info->projectid;

    const std::string rootPath = stringOr(root, "serveradr") + stringOr(root, "downurl");
    VLOG << "Root Path : " << rootPath;
    context->setRootPath(rootPath);
    VLOG << "Initialize Project Context Finished";
    return false;
}

} // namespace VeldaClient
