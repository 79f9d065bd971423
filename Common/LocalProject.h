#pragma once

#include "Common/ProjectInfo.h"

#include <string>

namespace VeldaClient {

// A model opened from a file has no companion client and no service: the
// project and the user come from the file and the system, the project is
// streamed from its folder, and the saved views are kept on this machine.
namespace LocalProject {

// projectname: the file's (or folder's) name; groupname "本地" and groupid
// the key's first 8 digits; uploader: the file's owner, uploaderqemid the
// owner's uid, uploadtime the file's change time ("yyyy-MM-dd hh:mm");
// the user: the system's user (full name when known) and uid as qemid;
// projectid: from the key, so two models never share temporary names.
ProjectInfo describe(const std::string& source, const std::string& key);

// Tells the hub all of it: the project info, the folder's address as the
// root path, and the local store of saved views (in the application data
// folder, keyed by `key`).
void use(const std::string& projectFolder, const std::string& source, const std::string& key);

} // namespace LocalProject
} // namespace VeldaClient
