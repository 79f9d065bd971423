#pragma once

// The contract between the viewer and the sign module: five exports with C
// linkage and two packed, little-endian records with UTF-16 text fields.

#include <cstdint>

extern "C" {

#pragma pack(push, 1)

// 8 bytes; cleared by the caller.
struct ProjectInfoOut {
    int32_t reserved;   // set by the module, not read
    int32_t projectId;
};

// 360 bytes; the caller clears only the first word.
struct UserSignInfo {
    int32_t qemid;
    char16_t userName[50];   // up to 49 units and a terminating zero
    char16_t signText[128];  // up to 127 units and a terminating zero
};

#pragma pack(pop)

typedef unsigned char (*QemRunModuleReadyFn)();
typedef int32_t (*QemGetProjectInfoFn)(ProjectInfoOut* info);
typedef int32_t (*QemReadUserSignInfoFn)(int32_t qemid, UserSignInfo* info);
typedef int32_t (*QemGetMsgHandleFn)(int32_t qemid);
typedef int32_t (*QemGetClientStateFn)(int32_t qemid);

} // extern "C"

static_assert(sizeof(ProjectInfoOut) == 8, "ProjectInfoOut is 8 bytes");
static_assert(sizeof(UserSignInfo) == 360, "UserSignInfo is 360 bytes");

namespace VeldaClient {

// What QemGetClientState answers.
enum ClientState : int32_t {
    kClientGone = 0,      // the viewer is to close
    kClientOnline = 1,    // signed in
};

} // namespace VeldaClient
