#pragma once

#include <cstdint>
#include <string>

namespace VeldaClient {

// The project and the signed-in user. The sign text is refreshed at each
// access through GraphicsContext::projectInfo(). Narrow strings hold the
// UTF-8 text of the web service unchanged.
struct ProjectInfo {
    std::wstring signText;
    int32_t qemid = 0;
    std::wstring userName;
    int32_t projectid = 0;
    std::string projectname;
    std::string groupname;
    std::string groupid;
    std::string uploader;
    std::string uploaderqemid;
    std::string uploadtime;
};

} // namespace VeldaClient
