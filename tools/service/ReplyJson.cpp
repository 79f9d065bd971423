#include "ReplyJson.h"

#include "Utf8Text.h"

namespace VeldaService {

namespace {
const char* const kJsonType = "application/json; charset=utf-8";
}

ReplyJson::ReplyJson() : writer_(buffer_)
{
    writer_.StartObject();
}

ReplyJson& ReplyJson::add(const char* key, const std::string& value)
{
    const std::string text = validUtf8(value);
    writer_.Key(key);
    writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return *this;
}

ReplyJson& ReplyJson::add(const char* key, int value)
{
    writer_.Key(key);
    writer_.Int(value);
    return *this;
}

std::string ReplyJson::text()
{
    writer_.EndObject();
    return buffer_.GetString();
}

void answer(httplib::Response& res, ReplyJson& json, int status)
{
    res.status = status;
    res.set_content(json.text(), kJsonType);
}

void refuse(httplib::Response& res, ErrorId id, const std::string& message, int status)
{
    if (status == 0)
        status = id == kBadRequest ? 400 : 200;
    answer(res, ReplyJson().add("errorid", id).add("errmsg", message), status);
}

} // namespace VeldaService
