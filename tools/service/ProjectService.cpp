#include "ProjectService.h"

#include "QueryText.h"

#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"

#include <openssl/evp.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sys/stat.h>

namespace VeldaService {

namespace {

enum ErrorId {
    kOk = 0,
    kBadRequest = 1,
    kBadSign = 2,
    kNoProject = 3,
    kNotFound = 4,
    kServerError = 5,
    kTooLarge = 6,
};

// A JSON answer built in key order.
class Json {
public:
    Json() : writer_(buffer_) { writer_.StartObject(); }
    Json& add(const char* key, const std::string& value)
    {
        writer_.Key(key);
        writer_.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
        return *this;
    }
    Json& add(const char* key, int value)
    {
        writer_.Key(key);
        writer_.Int(value);
        return *this;
    }
    std::string text()
    {
        writer_.EndObject();
        return buffer_.GetString();
    }

private:
    rapidjson::StringBuffer buffer_;
    rapidjson::Writer<rapidjson::StringBuffer> writer_;
};

const char* const kJsonType = "application/json; charset=utf-8";

void answer(httplib::Response& res, Json& json, int status = 200)
{
    res.status = status;
    res.set_content(json.text(), kJsonType);
}

void refuse(httplib::Response& res, int errorId, const std::string& message, int status = 200)
{
    answer(res, Json().add("errorid", errorId).add("errmsg", message), status);
}

bool isMd5(const std::string& text)
{
    return text.size() == 32 &&
           std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

std::string upper(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return s;
}

bool isRegularFile(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool readWhole(const std::string& path, std::string& out)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// Serves a file in chunks, without reading it into memory first.
void serveFile(httplib::Response& res, const std::string& path)
{
    std::shared_ptr<std::ifstream> in(new std::ifstream(path, std::ios::binary));
    struct stat st;
    ::stat(path.c_str(), &st);
    res.set_content_provider(static_cast<size_t>(st.st_size), "application/octet-stream",
                             [in](size_t offset, size_t length, httplib::DataSink& sink) {
                                 char buffer[64 * 1024];
                                 in->seekg(static_cast<std::streamoff>(offset));
                                 const size_t want = std::min(length, sizeof buffer);
                                 in->read(buffer, static_cast<std::streamsize>(want));
                                 const std::streamsize got = in->gcount();
                                 if (got <= 0)
                                     return false;
                                 return sink.write(buffer, static_cast<size_t>(got));
                             });
}

// The signed caller of a /project/ call.
struct Caller {
    int projectid = 0;
    int qemid = 0;
    ProjectRow project;
};

} // namespace

std::string md5Hex(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_md5(), nullptr);
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (unsigned int i = 0; i < length; ++i) {
        out += kHex[digest[i] >> 4];
        out += kHex[digest[i] & 15];
    }
    return out;
}

ProjectService::ProjectService(const ServiceOptions& options, ServiceDatabase& database)
    : options_(options), db_(database)
{
    const int threads = options_.threads > 0 ? options_.threads : 8;
    server_.new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<size_t>(threads)); };
    server_.set_payload_max_length(options_.maxBody);
    server_.set_keep_alive_timeout(2);
    server_.set_tcp_nodelay(true);  // answers go out whole, without waiting on delayed acknowledgements
    server_.set_read_timeout(10);
    server_.set_write_timeout(10);
    server_.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (!res.body.empty())
            return;
        const int id = res.status == 413 ? kTooLarge : (res.status == 404 ? kNotFound : kBadRequest);
        res.set_content(Json().add("errorid", id).add("errmsg", "HTTP " + std::to_string(res.status)).text(),
                        kJsonType);
    });
    server_.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr ep) {
        std::string why = "internal error";
        try {
            if (ep)
                std::rethrow_exception(ep);
        } catch (const std::exception& e) {
            why = e.what();
        } catch (...) {
        }
        refuse(res, kServerError, why, 500);
    });
    if (!options_.quiet)
        server_.set_logger([](const httplib::Request& req, const httplib::Response& res) {
            // Path only: queries carry sign texts.
            std::fprintf(stderr, "%s %s %d %zu\n", req.method.c_str(), req.path.c_str(), res.status,
                         res.body.size());
        });
    routes();
}

std::string ProjectService::baseUrl() const
{
    if (!options_.publicUrl.empty())
        return options_.publicUrl;
    return "http://" + options_.address + ":" + std::to_string(boundPort_);
}

bool ProjectService::run(const std::function<void(const std::string&)>& onListening)
{
    if (options_.port == 0)
        boundPort_ = server_.bind_to_any_port(options_.address);
    else
        boundPort_ = server_.bind_to_port(options_.address, options_.port) ? options_.port : -1;
    if (boundPort_ <= 0)
        return false;
    if (onListening)
        onListening(baseUrl());
    return server_.listen_after_bind();
}

void ProjectService::routes()
{
    // Checks projectid, qemid and sign of the raw query or form text.
    auto signedCaller = [this](const std::string& text, httplib::Response& res, Caller& caller) {
        const std::map<std::string, std::string> keys = rawPairs(text);
        const auto get = [&keys](const char* k) {
            const auto it = keys.find(k);
            return it == keys.end() ? std::string() : it->second;
        };
        std::string sign;
        if (!parseInt(get("projectid"), caller.projectid) || !parseInt(get("qemid"), caller.qemid) ||
            !keys.count("sign")) {
            refuse(res, kBadRequest, "请求参数错误: projectid, qemid 和 sign 是必需的");
            return false;
        }
        if (!db_.userSign(caller.qemid, sign) || sign != get("sign")) {
            refuse(res, kBadSign, "用户签名无效");
            return false;
        }
        if (!db_.project(caller.projectid, caller.project)) {
            refuse(res, kNoProject, "项目不存在");
            return false;
        }
        return true;
    };
    auto decoded = [](const std::string& query, const char* key, std::string& out) {
        const std::map<std::string, std::string> keys = rawPairs(query);
        const auto it = keys.find(key);
        return it != keys.end() && percentDecode(it->second, out);
    };

    server_.Get("/project/getthreedimensionsdis.action",
                [this, signedCaller](const httplib::Request& req, httplib::Response& res) {
                    Caller c;
                    if (!signedCaller(queryOf(req.target), res, c))
                        return;
                    const std::string downurl = "/project/file.action?projectid=" + std::to_string(c.projectid) +
                                                "&token=" + c.project.token + "&pars=";
                    answer(res, Json()
                                    .add("errorid", kOk)
                                    .add("serveradr", baseUrl())
                                    .add("downurl", downurl)
                                    .add("projectname", c.project.projectname)
                                    .add("groupname", c.project.groupname)
                                    .add("groupid", c.project.groupid)
                                    .add("uploader", c.project.uploader)
                                    .add("uploaderqemid", c.project.uploaderqemid)
                                    .add("uploadtime", c.project.uploadtime));
                });

    // Project files: a token in the address instead of the sign text, so
    // that a sign renewed during a long download does not break it.
    server_.Get("/project/file.action", [this, decoded](const httplib::Request& req, httplib::Response& res) {
        const std::string query = queryOf(req.target);
        const std::map<std::string, std::string> keys = rawPairs(query);
        int projectid = 0;
        ProjectRow project;
        std::string name;
        if (!keys.count("projectid") || !parseInt(keys.at("projectid"), projectid) || !keys.count("token") ||
            !decoded(query, "pars", name))
            return refuse(res, kBadRequest, "请求参数错误", 400);
        if (!db_.project(projectid, project) || project.token != keys.at("token"))
            return refuse(res, kNoProject, "项目不存在", 404);
        if (!Velda::isSafeRelativePath(name))
            return refuse(res, kBadRequest, "文件名无效", 400);
        const std::string path = project.folder + "/" + name;
        if (!isRegularFile(path))
            return refuse(res, kNotFound, "文件不存在", 404);
        serveFile(res, path);
    });

    // Form posts are read raw, through a content reader: the library's own
    // form parsing would decode them and refuses bodies above 8 KiB.
    auto rawPost = [this](const char* path, std::function<void(const std::string&, httplib::Response&)> handle) {
        const size_t limit = options_.maxBody;
        server_.Post(path, [handle, limit](const httplib::Request&, httplib::Response& res,
                                           const httplib::ContentReader& content) {
            std::string body;
            const bool whole = content([&body, limit](const char* data, size_t length) {
                if (body.size() + length > limit)
                    return false;
                body.append(data, length);
                return true;
            });
            if (!whole)
                return refuse(res, kTooLarge, "请求内容过大", 413);
            handle(body, res);
        });
    };

    // A saved text (record or script) and its read: the value stands raw
    // behind its key, and is answered back under the same key's reply name.
    using Store = std::function<void(const Caller&, const std::string&)>;
    using Load = std::function<void(const Caller&, std::string&)>;
    auto savedText = [&, this](const char* savePath, const char* key, const char* readPath, const char* replyKey,
                               Store store, Load load) {
        const std::string missing = std::string("请求参数错误: 缺少 ") + key;
        rawPost(savePath, [this, signedCaller, key, missing, store](const std::string& body, httplib::Response& res) {
            std::string value, head;
            if (!tailValue(body, key, value, head))
                return refuse(res, kBadRequest, missing);
            Caller c;
            if (!signedCaller(head, res, c))
                return;
            store(c, value);
            answer(res, Json().add("errorid", kOk));
        });
        server_.Get(readPath, [signedCaller, replyKey, load](const httplib::Request& req, httplib::Response& res) {
            Caller c;
            if (!signedCaller(queryOf(req.target), res, c))
                return;
            std::string value;
            load(c, value);
            answer(res, Json().add("errorid", kOk).add(replyKey, value));
        });
    };
    savedText(
        "/project/save3drecord.action", "postion", "/project/get3drecordinfo.action", "recordinfo",
        [this](const Caller& c, const std::string& v) { db_.saveRecord(c.projectid, c.qemid, v); },
        [this](const Caller& c, std::string& v) { db_.record(c.projectid, v); });
    savedText(
        "/project/savecamera.action", "camerainfo", "/project/getcamera.action", "camerainfo",
        [this](const Caller& c, const std::string& v) { db_.saveCameras(c.projectid, c.qemid, v); },
        [this](const Caller& c, std::string& v) { db_.cameras(c.projectid, v); });

    // A signed call that names a thumbnail by its MD5 (lower-cased).
    auto signedWithMd5 = [signedCaller](const httplib::Request& req, httplib::Response& res, Caller& c,
                                        std::string& md5) {
        const std::string query = queryOf(req.target);
        if (!signedCaller(query, res, c))
            return false;
        const std::map<std::string, std::string> keys = rawPairs(query);
        if (!keys.count("md5") || !isMd5(keys.at("md5"))) {
            refuse(res, kBadRequest, "请求参数错误: md5 无效");
            return false;
        }
        md5 = lower(keys.at("md5"));
        return true;
    };

    server_.Get("/project/getshoticonuploadurl.action",
                [this, signedWithMd5](const httplib::Request& req, httplib::Response& res) {
                    Caller c;
                    std::string md5;
                    if (!signedWithMd5(req, res, c, md5))
                        return;
                    const std::string ticket = randomHex();
                    db_.createUpload(ticket, c.projectid, c.qemid, md5);
                    answer(res, Json().add("errorid", kOk).add("uploadurl", baseUrl() + "/storage/put?ticket=" + ticket));
                });

    // Storage: takes the bytes of an announced upload and answers with
    // their MD5 as the ETag, upper-case, as object stores do.
    server_.Put("/storage/put", [this](const httplib::Request& req, httplib::Response& res) {
        const std::map<std::string, std::string> keys = rawPairs(queryOf(req.target));
        int projectid = 0;
        std::string announced;
        const auto ticket = keys.find("ticket");
        if (ticket == keys.end() || !Velda::isPlainFileName(ticket->second) || !db_.upload(ticket->second, projectid, announced))
            return refuse(res, kNotFound, "上传地址无效", 404);
        if (!Velda::writeFileAtomically(options_.dataFolder + "/uploads/" + ticket->second, req.body.data(), req.body.size()))
            return refuse(res, kServerError, "无法保存上传的文件", 500);
        db_.markReceived(ticket->second);
        res.set_header("ETag", "\"" + upper(md5Hex(req.body)) + "\"");
        res.status = 200;
    });

    server_.Get("/project/uploadshoticonfinished.action",
                [this, signedWithMd5](const httplib::Request& req, httplib::Response& res) {
                    Caller c;
                    std::string md5, ticket, bytes;
                    if (!signedWithMd5(req, res, c, md5))
                        return;
                    if (!db_.receivedUpload(c.projectid, md5, ticket) ||
                        !readWhole(options_.dataFolder + "/uploads/" + ticket, bytes))
                        return refuse(res, kNotFound, "未找到已上传的缩略图");
                    if (md5Hex(bytes) != md5)
                        return refuse(res, kBadRequest, "缩略图校验失败");
                    // Named by content, so a name is never reused for other bytes.
                    const std::string folder = options_.dataFolder + "/thumbs/" + std::to_string(c.projectid);
                    ::mkdir(folder.c_str(), 0755);
                    const std::string path = md5 + ".png";
                    if (!Velda::writeFileAtomically(folder + "/" + path, bytes.data(), bytes.size()))
                        return refuse(res, kServerError, "无法保存缩略图", 500);
                    std::remove((options_.dataFolder + "/uploads/" + ticket).c_str());
                    db_.finishUpload(ticket, c.projectid, path, md5);
                    answer(res, Json().add("errorid", kOk).add("path", path));
                });

    server_.Get("/project/downshoticon.action",
                [this, signedCaller, decoded](const httplib::Request& req, httplib::Response& res) {
                    const std::string query = queryOf(req.target);
                    Caller c;
                    if (!signedCaller(query, res, c))
                        return;
                    std::string path;
                    if (!decoded(query, "path", path) || !Velda::isPlainFileName(path))
                        return refuse(res, kBadRequest, "文件名无效", 400);
                    const std::string file = options_.dataFolder + "/thumbs/" + std::to_string(c.projectid) + "/" + path;
                    if (!db_.thumbnail(c.projectid, path) || !isRegularFile(file))
                        return refuse(res, kNotFound, "缩略图不存在", 404);
                    serveFile(res, file);
                });
}

} // namespace VeldaService
