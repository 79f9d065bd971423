#pragma once

#include <httplib.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>

namespace VeldaService {

enum ErrorId {
    kOk = 0,
    kBadRequest = 1,
    kBadSign = 2,
    kNoProject = 3,
    kNotFound = 4,
    kServerError = 5,
    kTooLarge = 6,
};

// A JSON answer built in key order. Texts are made valid UTF-8 on the way
// in, so a reply is valid whatever was stored.
class ReplyJson {
public:
    ReplyJson();
    ReplyJson& add(const char* key, const std::string& value);
    ReplyJson& add(const char* key, int value);
    std::string text();

private:
    rapidjson::StringBuffer buffer_;
    rapidjson::Writer<rapidjson::StringBuffer> writer_;
};

void answer(httplib::Response& res, ReplyJson& json, int status = 200);

// An answer with a non-zero errorid and a message in words. A malformed
// request is answered with status 400 unless another is given.
void refuse(httplib::Response& res, ErrorId id, const std::string& message, int status = 0);

} // namespace VeldaService
