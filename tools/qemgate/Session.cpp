#include "Session.h"

#include "jobs/FileHelpers.h"
#include "platform/Platform.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace QemGate {

std::string sessionPath()
{
    const char* env = std::getenv("QEM_SESSION");
    if (env && *env)
        return env;
    return Velda::Platform::appDataFolder() + "session.json";
}

bool readSession(const std::string& path, Session& session)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.size() > 65536)
        return false;
    rapidjson::Document d;
    d.Parse(text.c_str());
    if (d.HasParseError() || !d.IsObject())
        return false;
    auto integer = [&d](const char* key, int32_t& out) {
        if (d.HasMember(key) && d[key].IsInt())
            out = d[key].GetInt();
    };
    auto readText = [&d](const char* key, std::string& out) {
        if (d.HasMember(key) && d[key].IsString())
            out.assign(d[key].GetString(), d[key].GetStringLength());
    };
    session = Session();
    session.ready = d.HasMember("ready") && d["ready"].IsBool() && d["ready"].GetBool();
    integer("state", session.state);
    integer("projectid", session.projectId);
    integer("qemid", session.qemid);
    integer("msghandle", session.msgHandle);
    readText("username", session.userName);
    readText("sign", session.sign);
    return true;
}

bool writeSession(const std::string& path, const Session& session)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> w(buffer);
    w.StartObject();
    w.Key("ready");
    w.Bool(session.ready);
    w.Key("state");
    w.Int(session.state);
    w.Key("projectid");
    w.Int(session.projectId);
    w.Key("qemid");
    w.Int(session.qemid);
    w.Key("username");
    w.String(session.userName.c_str(), static_cast<rapidjson::SizeType>(session.userName.size()));
    w.Key("sign");
    w.String(session.sign.c_str(), static_cast<rapidjson::SizeType>(session.sign.size()));
    w.Key("msghandle");
    w.Int(session.msgHandle);
    w.EndObject();

    // A fresh home has no application data folder yet.
    const size_t slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0)
        Velda::Platform::makeDirectories(path.substr(0, slash));
    return Velda::writeFileAtomically(path, buffer.GetString(), buffer.GetSize());
}

} // namespace QemGate
