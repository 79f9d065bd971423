#pragma once

#include <cstdint>
#include <string>

namespace QemGate {

// What the companion client stand-in shares with the sign module: one JSON
// file, written whole (temporary file, then rename) and read anew at every
// call of the module.
struct Session {
    bool ready = false;
    int32_t state = 0;      // 0 gone, 1 signed in, other: signed out
    int32_t projectId = 0;
    int32_t qemid = 0;
    std::string userName;   // UTF-8
    std::string sign;
    int32_t msgHandle = 0;  // names the client's message socket
};

// $QEM_SESSION, else the application data folder + "session.json".
std::string sessionPath();

// False when the file is missing or is not a session.
bool readSession(const std::string& path, Session& session);

// Atomic: readers see the old file or the new one, never a mix. The
// folder is made with its parents when it does not exist yet.
bool writeSession(const std::string& path, const Session& session);

} // namespace QemGate
