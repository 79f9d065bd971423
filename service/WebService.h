#pragma once

#include <string>

namespace VeldaClient {

// The web calls for saved views and thumbnails. Each takes projectid, qemid
// and a fresh sign text from GraphicsContext::projectInfo() and sends them,
// like every value, without URL-encoding. Blocking; any thread.
namespace WebService {

// "projectid=<id>&qemid=<qemid>&sign=<sign>"
std::string commonQuery();

// POST of the saved-view record as the "postion" value; nothing for an empty text.
void saveRecord(const std::string& recordJson);
// GET of the saved cameras; the body as text.
std::string readCameras();
// POST of the 3ds Max script as the "camerainfo" value; nothing for an empty text.
void saveCameras(const std::string& script);
// Downloads a thumbnail into the temp folder; its local path, or empty for
// an empty (or not plain) server path.
std::string downloadThumbnail(const std::string& serverPath);
// The saved-view record ("recordinfo"), or empty.
std::string readRecordInfo();
// Uploads a thumbnail: address, PUT, ETag check against the MD5, then the
// confirmation. Returns the path on the service, or empty. Throws
// std::runtime_error with the service's or the check's text on a refusal.
std::string uploadThumbnail(const std::string& localPath);

// Lower-case hexadecimal MD5 of a file's bytes ("" for a missing file).
std::string fileMd5Hex(const std::string& path);

} // namespace WebService
} // namespace VeldaClient
