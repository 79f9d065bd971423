#include "service/QemDllImport.h"

#include "log/Log.h"
#include "platform/Platform.h"

#include <cstring>
#include <dlfcn.h>

namespace VeldaClient {

const char* const QemDllImport::kLibraryName = "libQemGate.so";

QemDllImport::QemDllImport()
{
    const std::string beside = Velda::Platform::programFolder() + "/" + kLibraryName;
    module_ = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module_)
        module_ = dlopen(kLibraryName, RTLD_NOW | RTLD_LOCAL);
    if (!module_) {
        const char* why = dlerror();
        VLOG << "Sign module not loaded : " << (why ? why : kLibraryName);
    }
}

QemDllImport::~QemDllImport()
{
    if (module_)
        dlclose(module_);
}

void* QemDllImport::lookup(const char* name)
{
    if (!module_)
        return nullptr;
    void* symbol = dlsym(module_, name);
    if (!symbol)
        VLOG << "Sign module has no export " << name;
    return symbol;
}

QemRunModuleReadyFn QemDllImport::runModuleReady()
{
    return reinterpret_cast<QemRunModuleReadyFn>(lookup("QemRunModuleReady"));
}

QemGetProjectInfoFn QemDllImport::getProjectInfo()
{
    return reinterpret_cast<QemGetProjectInfoFn>(lookup("QemGetProjectInfo"));
}

QemReadUserSignInfoFn QemDllImport::readUserSignInfo()
{
    return reinterpret_cast<QemReadUserSignInfoFn>(lookup("QemReadUserSignInfo"));
}

QemGetMsgHandleFn QemDllImport::getMsgHandle()
{
    return reinterpret_cast<QemGetMsgHandleFn>(lookup("QemGetMsgHandle"));
}

QemGetClientStateFn QemDllImport::getClientState()
{
    return reinterpret_cast<QemGetClientStateFn>(lookup("QemGetClientState"));
}

bool QemDllImport::isModuleReady()
{
    QemDllImport gate;
    const QemRunModuleReadyFn ready = gate.runModuleReady();
    return ready && ready() != 0;
}

bool QemDllImport::readProjectInfo(ProjectInfoOut& out)
{
    std::memset(&out, 0, sizeof out);
    QemDllImport gate;
    const QemGetProjectInfoFn get = gate.getProjectInfo();
    if (!get)
        return false;
    get(&out);
    return true;
}

bool QemDllImport::readUserSignInfo(int32_t qemid, UserSignInfo& out)
{
    std::memset(&out, 0, sizeof out);  // defined text even from a module that writes none
    QemDllImport gate;
    const QemReadUserSignInfoFn read = gate.readUserSignInfo();
    if (!read)
        return false;
    read(qemid, &out);
    return true;
}

int32_t QemDllImport::msgHandle(int32_t qemid)
{
    QemDllImport gate;
    const QemGetMsgHandleFn get = gate.getMsgHandle();
    return get ? get(qemid) : 0;
}

int32_t QemDllImport::clientState(int32_t qemid)
{
    QemDllImport gate;
    const QemGetClientStateFn get = gate.getClientState();
    return get ? get(qemid) : kClientGone;
}

} // namespace VeldaClient
