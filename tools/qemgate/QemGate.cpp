// libQemGate.so: the sign module of this platform. It answers from the
// session file that qem-client writes, read anew at every call, so a
// renewed sign text or a changed client state takes effect at once.
#include "Session.h"

#include "formats/TextHelpers.h"
#include "service/QemGateRecords.h"

#include <cstring>

#define QEM_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

bool current(QemGate::Session& session)
{
    return QemGate::readSession(QemGate::sessionPath(), session);
}

} // namespace

QEM_EXPORT unsigned char QemRunModuleReady()
{
    QemGate::Session s;
    return current(s) && s.ready ? 1 : 0;
}

QEM_EXPORT int32_t QemGetProjectInfo(ProjectInfoOut* info)
{
    QemGate::Session s;
    if (!info || !current(s) || !s.ready)
        return 0;
    info->reserved = 1;
    info->projectId = s.projectId;
    return 1;
}

QEM_EXPORT int32_t QemReadUserSignInfo(int32_t, UserSignInfo* info)
{
    QemGate::Session s;
    if (!info || !current(s) || !s.ready)
        return 0;
    info->qemid = s.qemid;
    Velda::utf8ToUtf16Field(s.userName, info->userName, sizeof info->userName / sizeof(char16_t));
    Velda::utf8ToUtf16Field(s.sign, info->signText, sizeof info->signText / sizeof(char16_t));
    return 1;
}

QEM_EXPORT int32_t QemGetMsgHandle(int32_t)
{
    QemGate::Session s;
    return current(s) && s.ready ? s.msgHandle : 0;
}

QEM_EXPORT int32_t QemGetClientState(int32_t)
{
    QemGate::Session s;
    return current(s) ? s.state : 0;
}
