#include "ProjectService.h"

#include "FolderGuard.h"
#include "PeriodicTask.h"
#include "QueryText.h"
#include "ReplyJson.h"
#include "RequestLog.h"
#include "SignHash.h"
#include "Utf8Text.h"

#include "formats/TextHelpers.h"
#include "jobs/FileHelpers.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace VeldaService {

namespace {

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

// An open file, closed when the last answer that reads it is done.
struct OpenFile {
    int fd = -1;
    ~OpenFile()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// Serves a file (a real path, no links left in it) in chunks, from the
// handle opened here, so that the checked file is the one that is sent.
bool serveFile(httplib::Response& res, const std::string& real)
{
    std::shared_ptr<OpenFile> file(new OpenFile);
    file->fd = ::open(real.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    struct stat st;
    if (file->fd < 0 || ::fstat(file->fd, &st) != 0 || !S_ISREG(st.st_mode))
        return false;
    res.set_content_provider(static_cast<size_t>(st.st_size), "application/octet-stream",
                             [file](size_t offset, size_t length, httplib::DataSink& sink) {
                                 char buffer[64 * 1024];
                                 const ssize_t got = ::pread(file->fd, buffer, std::min(length, sizeof buffer),
                                                             static_cast<off_t>(offset));
                                 return got > 0 && sink.write(buffer, static_cast<size_t>(got));
                             });
    return true;
}

// Whether a request's content type is that of a form (or not given, as
// with the viewer's posts of old).
bool isFormType(const std::string& type)
{
    const std::string t = lower(type.substr(0, type.find(';')));
    return t.empty() || t == "application/x-www-form-urlencoded" || t == "text/plain";
}

// The signed caller of a /project/ call.
struct Caller {
    int projectid = 0;
    int qemid = 0;
    ProjectRow project;
};

using Keys = std::map<std::string, std::string>;

std::string valueOf(const Keys& keys, const char* key)
{
    const auto it = keys.find(key);
    return it == keys.end() ? std::string() : it->second;
}

// Checks projectid, qemid and sign among the raw keys of a query or form
// text; on failure the answer is made.
bool signedCaller(ServiceDatabase& db, const Keys& keys, httplib::Response& res, Caller& caller)
{
    if (!parseInt(valueOf(keys, "projectid"), caller.projectid) || !parseInt(valueOf(keys, "qemid"), caller.qemid) ||
        !keys.count("sign")) {
        refuse(res, kBadRequest, "请求参数错误: projectid, qemid 和 sign 是必需的");
        return false;
    }
    if (!db.checkSign(caller.qemid, keys.at("sign"))) {
        refuse(res, kBadSign, "用户签名无效");
        return false;
    }
    if (!db.project(caller.projectid, caller.project)) {
        refuse(res, kNoProject, "项目不存在");
        return false;
    }
    return true;
}

// The percent-decoded value of a query key.
bool decodedValue(const Keys& keys, const char* key, std::string& out)
{
    const auto it = keys.find(key);
    return it != keys.end() && percentDecode(it->second, out);
}

} // namespace

std::string md5Hex(const std::string& bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_md5(), nullptr);
    return hexText(digest, length);
}

ProjectService::ProjectService(const ServiceOptions& options, ServiceDatabase& database)
    : options_(options), db_(database), server_(options.guard),
      databaseReal_(FolderGuard::realPath(options.dataFolder + "/service.db"))
{
    const int threads = options_.threads > 0 ? options_.threads : 8;
    server_.new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<size_t>(threads)); };
    server_.set_payload_max_length(options_.maxBody);
    server_.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (!res.body.empty())
            return;
        switch (res.status) {
        case 404:
            return refuse(res, kNotFound, "接口不存在", 404);
        case 413:
            return refuse(res, kTooLarge, "请求内容过大", 413);
        case 414:
            return refuse(res, kBadRequest, "请求地址过长", 414);
        case 400:
            return refuse(res, kBadRequest, "请求格式错误", 400);
        default:
            return refuse(res, kBadRequest, "请求无法处理", res.status);
        }
    });
    // What went wrong inside is logged, never answered.
    server_.set_exception_handler([](const httplib::Request& req, httplib::Response& res, std::exception_ptr ep) {
        std::string why = "unknown exception";
        try {
            if (ep)
                std::rethrow_exception(ep);
        } catch (const std::exception& e) {
            why = e.what();
        } catch (...) {
        }
        std::fprintf(stderr, "%s\n", escapeForLog("error in " + req.path + ": " + why).c_str());
        refuse(res, kServerError, "服务器内部错误", 500);
    });
    if (!options_.quiet)
        server_.set_logger([](const httplib::Request& req, const httplib::Response& res) {
            const std::string line = requestLogLine(req.method, req.path, res.status, res.body.size()) + "\n";
            std::fputs(line.c_str(), stderr);
        });
    routes();
    const int64_t lifetimeMs = std::max<int64_t>(1, options_.ticketLifetime) * 1000;
    sweeper_.reset(new PeriodicTask(std::chrono::milliseconds(std::min<int64_t>(std::max<int64_t>(lifetimeMs / 2, 200), 60000)),
                                    [this] { expireUploads(); }));
}

ProjectService::~ProjectService() = default;

std::string ProjectService::baseUrl() const
{
    if (!options_.publicUrl.empty())
        return options_.publicUrl;
    return "http://" + options_.address + ":" + std::to_string(boundPort_);
}

bool ProjectService::run(const std::function<void(const std::string&)>& onListening)
{
    boundPort_ = server_.bind(options_.address, options_.port);
    if (boundPort_ <= 0)
        return false;
    expireUploads();
    if (onListening)
        onListening(baseUrl());
    return server_.listen_after_bind();
}

bool ProjectService::isDatabaseFile(const std::string& real) const
{
    if (databaseReal_.empty())
        return false;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        if (real == databaseReal_ + suffix)
            return true;
    return false;
}

int64_t ProjectService::ticketsSince() const
{
    return static_cast<int64_t>(std::time(nullptr)) - options_.ticketLifetime;
}

void ProjectService::expireUploads()
{
    namespace fs = std::filesystem;
    const std::string folder = options_.dataFolder + "/uploads/";
    try {
        for (const std::string& ticket : db_.expireUploads(ticketsSince()))
            if (Velda::isPlainFileName(ticket))
                std::remove((folder + ticket).c_str());
        // Files no ticket names (a temporary file a crash left behind) go
        // by their age.
        const auto oldest = fs::file_time_type::clock::now() - std::chrono::seconds(options_.ticketLifetime);
        std::error_code ec;
        int projectid = 0;
        std::string md5;
        for (const auto& entry : fs::directory_iterator(folder, ec))
            if (entry.is_regular_file(ec) && entry.last_write_time(ec) < oldest &&
                !db_.upload(entry.path().filename().string(), 0, projectid, md5))
                fs::remove(entry.path(), ec);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", escapeForLog(std::string("expiring uploads: ") + e.what()).c_str());
    }
}

void ProjectService::routes()
{
    server_.Get("/project/getthreedimensionsdis.action", [this](const httplib::Request& req, httplib::Response& res) {
        Caller c;
        if (!signedCaller(db_, rawPairs(queryOf(req.target)), res, c))
            return;
        const std::string downurl =
            "/project/file.action?projectid=" + std::to_string(c.projectid) + "&token=" + c.project.token + "&pars=";
        answer(res, ReplyJson()
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
    fileRoutes();
    savedTextRoutes();
    thumbnailRoutes();
}

void ProjectService::fileRoutes()
{
    // Project files: a token in the address instead of the sign text, so
    // that a sign renewed during a long download does not break it.
    server_.Get("/project/file.action", [this](const httplib::Request& req, httplib::Response& res) {
        const Keys keys = rawPairs(queryOf(req.target));
        int projectid = 0;
        ProjectRow project;
        std::string name, real;
        if (!parseInt(valueOf(keys, "projectid"), projectid) || !keys.count("token") || !decodedValue(keys, "pars", name))
            return refuse(res, kBadRequest, "请求参数错误");
        if (!db_.project(projectid, project) || !sameSecret(project.token, keys.at("token")))
            return refuse(res, kNoProject, "项目不存在", 404);
        if (!Velda::isSafeRelativePath(name))
            return refuse(res, kBadRequest, "文件名无效");
        // A link may point anywhere: only its target counts.
        if (!FolderGuard(project.folder).resolve(name, real) || isDatabaseFile(real) || !serveFile(res, real))
            return refuse(res, kNotFound, "文件不存在", 404);
    });
}

void ProjectService::savedTextRoutes()
{
    // A form post: projectid, qemid and sign, then the key whose value runs
    // raw to the end of the body (the viewer does not escape it). Anything
    // else is refused with 400 and nothing is stored.
    using Store = std::function<void(const Caller&, const std::string&)>;
    auto formPost = [this](const char* path, const char* key, const char* what, Store store) {
        const size_t limit = options_.maxBody;
        const std::string missing = std::string("请求参数错误: 缺少 ") + key;
        const std::string notText = std::string(what) + "不是有效的 UTF-8 文本";
        server_.Post(path, [this, key, limit, missing, notText, store](const httplib::Request& req, httplib::Response& res,
                                                                       const httplib::ContentReader& content) {
            if (req.is_multipart_form_data()) {
                // Read to its end, so the connection stays in step.
                content([](const httplib::MultipartFormData&) { return true; },
                        [](const char*, size_t) { return true; });
                return refuse(res, kBadRequest, "请求格式错误: 不接受 multipart 表单");
            }
            std::string body;
            const bool whole = content([&body, limit](const char* data, size_t length) {
                if (body.size() + length > limit)
                    return false;
                body.append(data, length);
                return true;
            });
            if (!whole)
                return refuse(res, kTooLarge, "请求内容过大", 413);
            if (!isFormType(req.get_header_value("Content-Type")))
                return refuse(res, kBadRequest, "请求格式错误: 内容应为表单");
            std::string value, head;
            if (!tailValue(body, key, value, head))
                return refuse(res, kBadRequest, missing);
            Caller c;
            if (!signedCaller(db_, rawPairs(head), res, c))
                return;
            if (!isUtf8(value) || value.find('\0') != std::string::npos)
                return refuse(res, kBadRequest, notText);
            store(c, value);
            answer(res, ReplyJson().add("errorid", kOk));
        });
    };
    using Load = std::function<void(const Caller&, std::string&)>;
    auto read = [this](const char* path, const char* replyKey, Load load) {
        server_.Get(path, [this, replyKey, load](const httplib::Request& req, httplib::Response& res) {
            Caller c;
            if (!signedCaller(db_, rawPairs(queryOf(req.target)), res, c))
                return;
            std::string value;
            load(c, value);
            answer(res, ReplyJson().add("errorid", kOk).add(replyKey, value));
        });
    };
    formPost("/project/save3drecord.action", "postion", "记录",
             [this](const Caller& c, const std::string& v) { db_.saveRecord(c.projectid, c.qemid, v); });
    read("/project/get3drecordinfo.action", "recordinfo",
         [this](const Caller& c, std::string& v) { db_.record(c.projectid, v); });
    formPost("/project/savecamera.action", "camerainfo", "脚本",
             [this](const Caller& c, const std::string& v) { db_.saveCameras(c.projectid, c.qemid, v); });
    read("/project/getcamera.action", "camerainfo",
         [this](const Caller& c, std::string& v) { db_.cameras(c.projectid, v); });
}

void ProjectService::thumbnailRoutes()
{
    // A signed call that names a thumbnail by its MD5 (lower-cased).
    auto signedWithMd5 = [this](const httplib::Request& req, httplib::Response& res, Caller& c, std::string& md5) {
        const Keys keys = rawPairs(queryOf(req.target));
        if (!signedCaller(db_, keys, res, c))
            return false;
        if (!isMd5(valueOf(keys, "md5"))) {
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
                    answer(res, ReplyJson().add("errorid", kOk).add("uploadurl", baseUrl() + "/storage/put?ticket=" + ticket));
                });

    // Storage: takes the bytes of an announced upload and answers with
    // their MD5 as the ETag, upper-case, as object stores do.
    server_.Put("/storage/put", [this](const httplib::Request& req, httplib::Response& res) {
        const std::string ticket = valueOf(rawPairs(queryOf(req.target)), "ticket");
        int projectid = 0;
        std::string announced;
        if (!Velda::isPlainFileName(ticket) || !db_.upload(ticket, ticketsSince(), projectid, announced))
            return refuse(res, kNotFound, "上传地址无效", 404);
        if (!Velda::writeFileAtomically(options_.dataFolder + "/uploads/" + ticket, req.body.data(), req.body.size()))
            return refuse(res, kServerError, "无法保存上传的文件", 500);
        db_.markReceived(ticket);
        res.set_header("ETag", "\"" + upper(md5Hex(req.body)) + "\"");
        answer(res, ReplyJson().add("errorid", kOk));
    });

    server_.Get("/project/uploadshoticonfinished.action",
                [this, signedWithMd5](const httplib::Request& req, httplib::Response& res) {
                    Caller c;
                    std::string md5, ticket;
                    if (!signedWithMd5(req, res, c, md5))
                        return;
                    const std::string upload = options_.dataFolder + "/uploads/";
                    if (!db_.receivedUpload(c.projectid, md5, ticketsSince(), ticket) ||
                        ::access((upload + ticket).c_str(), R_OK) != 0)
                        return refuse(res, kNotFound, "未找到已上传的缩略图");
                    const std::pair<char*, size_t> file = Velda::readFile(upload + ticket);
                    const std::string bytes(file.first, file.second);
                    delete[] file.first;
                    if (md5Hex(bytes) != md5)
                        return refuse(res, kBadRequest, "缩略图校验失败");
                    // Named by content, so a name is never reused for other bytes.
                    const std::string folder = options_.dataFolder + "/thumbs/" + std::to_string(c.projectid);
                    ::mkdir(folder.c_str(), 0700);
                    const std::string path = md5 + ".png";
                    if (!Velda::writeFileAtomically(folder + "/" + path, bytes.data(), bytes.size()))
                        return refuse(res, kServerError, "无法保存缩略图", 500);
                    std::remove((upload + ticket).c_str());
                    db_.finishUpload(ticket, c.projectid, path, md5);
                    answer(res, ReplyJson().add("errorid", kOk).add("path", path));
                });

    server_.Get("/project/downshoticon.action", [this](const httplib::Request& req, httplib::Response& res) {
        const Keys keys = rawPairs(queryOf(req.target));
        Caller c;
        if (!signedCaller(db_, keys, res, c))
            return;
        std::string path, real;
        if (!decodedValue(keys, "path", path) || !Velda::isPlainFileName(path))
            return refuse(res, kBadRequest, "文件名无效");
        const FolderGuard thumbs(options_.dataFolder + "/thumbs/" + std::to_string(c.projectid));
        if (!db_.thumbnail(c.projectid, path) || !thumbs.resolve(path, real) || !serveFile(res, real))
            return refuse(res, kNotFound, "缩略图不存在", 404);
    });
}

} // namespace VeldaService
