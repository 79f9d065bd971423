#include "Common/LocalProject.h"

#include "Common/GraphicsContext.h"
#include "assets/DiskCache.h"
#include "formats/TextHelpers.h"
#include "log/Log.h"
#include "service/LocalViewStore.h"

#include <QDateTime>
#include <QFileInfo>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

namespace VeldaClient {
namespace LocalProject {

namespace {

// The login name of a user id, or the id itself.
std::string loginName(uid_t uid)
{
    const passwd* entry = getpwuid(uid);
    return entry && entry->pw_name ? entry->pw_name : std::to_string(uid);
}

// The full name from the account's comment when it has one.
std::string fullName(uid_t uid)
{
    const passwd* entry = getpwuid(uid);
    if (entry && entry->pw_gecos) {
        std::string name = entry->pw_gecos;
        name = name.substr(0, name.find(','));
        if (!name.empty())
            return name;
    }
    return loginName(uid);
}

} // namespace

ProjectInfo describe(const std::string& source, const std::string& key)
{
    ProjectInfo info;
    info.projectid = static_cast<int32_t>(std::stoul(key.substr(0, 7), nullptr, 16));
    const uid_t self = getuid();
    info.qemid = static_cast<int32_t>(self);
    info.userName = Velda::systemToWide(fullName(self));
    const QFileInfo file(QString::fromStdString(source));
    info.projectname = file.fileName().toStdString();
    info.groupname = "本地";
    info.groupid = key.substr(0, 8);
    // A folder is described by its index, which packing made.
    const std::string described = file.isDir() ? source + "/index" : source;
    struct stat status {};
    if (stat(described.c_str(), &status) == 0) {
        info.uploader = loginName(status.st_uid);
        info.uploaderqemid = std::to_string(status.st_uid);
        info.uploadtime = QDateTime::fromSecsSinceEpoch(status.st_mtime).toString("yyyy-MM-dd hh:mm").toStdString();
    }
    return info;
}

void use(const std::string& projectFolder, const std::string& source, const std::string& key)
{
    GraphicsContext* hub = GraphicsContext::instance();
    hub->presetProjectInfo(describe(source, key));
    const std::string root = Velda::DiskCache::localAddress(projectFolder + "/");
    VLOG << "Root Path : " << root;
    hub->setRootPath(root);
    hub->setSavedViewStore(
        std::make_unique<LocalViewStore>(hub->appDataFolder() + LocalViewStore::kFileName, key));
}

} // namespace LocalProject
} // namespace VeldaClient
