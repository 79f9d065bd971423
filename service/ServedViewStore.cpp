#include "service/ServedViewStore.h"

#include "Common/GraphicsContext.h"
#include "service/QemDllImport.h"
#include "service/WebService.h"

namespace VeldaClient {

bool ServedViewStore::canSave()
{
    return QemDllImport::clientState(GraphicsContext::instance()->projectInfo()->qemid) == 1;
}

std::string ServedViewStore::readRecord()
{
    return WebService::readRecordInfo();
}

void ServedViewStore::saveRecord(const std::string& record)
{
    WebService::saveRecord(record);
}

void ServedViewStore::saveScript(const std::string& script)
{
    WebService::saveCameras(script);
}

std::string ServedViewStore::storeThumbnail(const std::string& localPath)
{
    return WebService::uploadThumbnail(localPath);
}

std::string ServedViewStore::fetchThumbnail(const std::string& name)
{
    return WebService::downloadThumbnail(name);
}

} // namespace VeldaClient
