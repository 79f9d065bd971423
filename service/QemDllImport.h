#pragma once

#include "service/QemGateRecords.h"

#include <string>

namespace VeldaClient {

// One binding to the sign module: loads libQemGate.so, looks an export up,
// unloads on destruction. Made for one use and dropped at once. The module
// is looked for in the program's folder first, then on the library path.
// A missing module or export gives null getters; the helpers below turn
// that into "not ready" and state 0, never a crash.
class QemDllImport {
public:
    QemDllImport();
    virtual ~QemDllImport();
    QemDllImport(const QemDllImport&) = delete;
    QemDllImport& operator=(const QemDllImport&) = delete;

    bool loaded() const { return module_ != nullptr; }

    QemRunModuleReadyFn runModuleReady();
    QemGetProjectInfoFn getProjectInfo();
    QemReadUserSignInfoFn readUserSignInfo();
    QemGetMsgHandleFn getMsgHandle();
    QemGetClientStateFn getClientState();

    // One binding per call.
    static bool isModuleReady();
    static bool readProjectInfo(ProjectInfoOut& out);
    static bool readUserSignInfo(int32_t qemid, UserSignInfo& out);
    static int32_t msgHandle(int32_t qemid);       // 0 when unavailable
    static int32_t clientState(int32_t qemid);     // kClientGone when unavailable

    // The file name of the module.
    static const char* const kLibraryName;

private:
    void* lookup(const char* name);

    void* module_ = nullptr;
};

} // namespace VeldaClient
