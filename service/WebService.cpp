#include "service/WebService.h"

#include "Common/GraphicsContext.h"
#include "formats/TextHelpers.h"
#include "jobs/HttpTransfer.h"
#include "service/JsonText.h"
#include "service/ServiceUrl.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <rapidjson/document.h>

#include <cstdlib>
#include <stdexcept>

namespace VeldaClient {
namespace WebService {

namespace {

std::string call(const std::string& path)
{
    return serviceBaseUrl() + path;
}

void postAndDrop(const std::string& url, const std::string& body)
{
    Velda::MemoryBlock reply = Velda::httpPostForm(url, body);
    Velda::MemoryBlockOwner owner(reply);
}

} // namespace

std::string commonQuery()
{
    GraphicsContext* context = GraphicsContext::instance();
    const ProjectInfo* info = context->projectInfo();  // renews the sign text
    return "projectid=" + std::to_string(info->projectid) + "&qemid=" + std::to_string(info->qemid) +
           "&sign=" + Velda::wideToSystem(context->signText());
}

void saveRecord(const std::string& recordJson)
{
    if (recordJson.empty())
        return;
    postAndDrop(call("/project/save3drecord.action"), commonQuery() + "&postion=" + recordJson);
}

std::string readCameras()
{
    return Velda::httpGet(call("/project/getcamera.action?") + commonQuery());
}

void saveCameras(const std::string& script)
{
    if (script.empty())
        return;
    postAndDrop(call("/project/savecamera.action"), commonQuery() + "&camerainfo=" + script);
}

std::string downloadThumbnail(const std::string& serverPath)
{
    // A name the service hands out must stay a plain file name in the temp folder.
    if (!Velda::isPlainFileName(serverPath))
        return std::string();
    const std::string local = QDir::tempPath().toStdString() + "/" + serverPath;
    Velda::httpDownloadFile(call("/project/downshoticon.action?") + commonQuery() + "&path=" + serverPath, local);
    return local;
}

std::string readRecordInfo()
{
    const std::string body = Velda::httpGet(call("/project/get3drecordinfo.action?") + commonQuery());
    rapidjson::Document root;
    root.Parse(body.c_str());
    if (root.HasParseError() || !hasString(root, "recordinfo"))
        return std::string();
    return stringOr(root, "recordinfo");
}

std::string fileMd5Hex(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        return std::string();
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Md5).toHex().toStdString();
}

std::string uploadThumbnail(const std::string& localPath)
{
    if (localPath.empty())
        return std::string();
    const std::string digest = fileMd5Hex(localPath);
    const std::string query = commonQuery() + "&md5=" + digest;
    rapidjson::Document address;
    address.Parse(Velda::httpGet(call("/project/getshoticonuploadurl.action?") + query).c_str());
    if (address.HasParseError() || !address.IsObject()) {
        QFile::remove(QString::fromStdString(localPath));
        return std::string();
    }
    if (!hasString(address, "uploadurl")) {
        if (hasString(address, "errmsg"))
            throw std::runtime_error("获取上传缩略图地址失败! " + stringOr(address, "errmsg"));
        throw std::runtime_error("获取上传缩略图地址失败!");
    }

    std::string response;
    if (!Velda::httpPutFile(stringOr(address, "uploadurl"), localPath, response))
        throw std::runtime_error(response);
    if (response.find("ETag") == std::string::npos)
        throw std::runtime_error("ETag返回失败!");
    if (response.find(QString::fromStdString(digest).toUpper().toStdString()) == std::string::npos)
        throw std::runtime_error("MD5校验失败!");
    QFile::remove(QString::fromStdString(localPath));

    const std::string fileName = QFileInfo(QString::fromStdString(localPath)).fileName().toStdString();
    const std::string body = Velda::httpGet(call("/project/uploadshoticonfinished.action?") + query +
                                            "&filename=" + fileName);
    rapidjson::Document done;
    done.Parse(body.c_str());
    if (done.HasParseError() || !done.IsObject())
        return std::string();
    if (hasString(done, "path"))
        return stringOr(done, "path");
    if (hasString(done, "errmsg"))
        throw std::runtime_error("保存缩略图失败! " + stringOr(done, "errmsg"));
    throw std::runtime_error(body);
}

} // namespace WebService
} // namespace VeldaClient
