#include "jobs/HttpTransfer.h"

#include "jobs/FileHelpers.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <curl/curl.h>

namespace Velda {

namespace {

struct EasyHandle {
    CURL* handle = curl_easy_init();
    ~EasyHandle()
    {
        if (handle)
            curl_easy_cleanup(handle);
    }
    EasyHandle() = default;
    EasyHandle(const EasyHandle&) = delete;
    EasyHandle& operator=(const EasyHandle&) = delete;
};

struct HeaderList {
    curl_slist* list = nullptr;
    ~HeaderList() { curl_slist_free_all(list); }
};

bool isLocal(const std::string& url)
{
    return url.compare(0, 7, "file://") == 0;
}

bool isUnreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

// libcurl refuses addresses with blanks and some other bytes that the
// system's file names and cache paths do hold. Local addresses are built
// from raw paths, so their path is escaped whole; remote ones arrive escaped
// already, so only what curl would refuse is escaped there.
std::string curlAddress(const std::string& url)
{
    static const char kHex[] = "0123456789ABCDEF";
    const bool local = isLocal(url);
    std::string out;
    out.reserve(url.size() + 16);
    for (size_t i = 0; i < url.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(url[i]);
        const bool keep = local ? (i < 7 || isUnreserved(c) || c == '/' || c >= 0x80)
                                : (c > 0x20 && c != 0x7F && std::strchr("\"<>\\^`{}", c) == nullptr);
        if (keep) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

// Runs the transfer; a failure is told on standard error, except a stop
// asked for by the caller.
CURLcode perform(CURL* curl)
{
    const CURLcode res = curl_easy_perform(curl);
    if (res != CURLE_OK && res != CURLE_ABORTED_BY_CALLBACK)
        std::fprintf(stderr, "curl_easy_perform() failed: %s\n", curl_easy_strerror(res));
    return res;
}

size_t fileSource(char* buffer, size_t size, size_t count, void* user)
{
    const size_t n = std::fread(buffer, size, count, static_cast<FILE*>(user));
    std::fprintf(stderr, "*** We read %" PRId64 " bytes from file\n", static_cast<int64_t>(n));
    return n;
}

// The body of a PUT answer has no use; it is dropped rather than printed.
size_t discardSink(char*, size_t size, size_t count, void*)
{
    return size * count;
}

int stopRequested(void* stop, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return static_cast<const std::atomic<bool>*>(stop)->load() ? 1 : 0;
}

} // namespace

Download httpDownload(const std::string& url, const std::atomic<bool>* stop)
{
    Download result;
    result.body = makeMemoryBlock();
    EasyHandle curl;
    if (!curl.handle)
        return result;
    curl_easy_setopt(curl.handle, CURLOPT_URL, curlAddress(url).c_str());
    curl_easy_setopt(curl.handle, CURLOPT_WRITEFUNCTION, memorySink);
    curl_easy_setopt(curl.handle, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl.handle, CURLOPT_USERAGENT, "libcurl-agent/1.0");
    if (stop) {
        curl_easy_setopt(curl.handle, CURLOPT_XFERINFOFUNCTION, stopRequested);
        curl_easy_setopt(curl.handle, CURLOPT_XFERINFODATA, stop);
        curl_easy_setopt(curl.handle, CURLOPT_NOPROGRESS, 0L);
    }
    const CURLcode res = perform(curl.handle);
    result.stopped = res == CURLE_ABORTED_BY_CALLBACK;
    if (res != CURLE_OK)
        return result;
    long status = 0;
    curl_easy_getinfo(curl.handle, CURLINFO_RESPONSE_CODE, &status);
    curl_off_t announced = -1;
    curl_easy_getinfo(curl.handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    const bool local = isLocal(url);
    // curl reports a body cut short of its length as an error already; the
    // size test is for whatever slips through.
    result.whole = (local || (status >= 200 && status < 300)) &&
                   (announced < 0 || static_cast<curl_off_t>(result.body.size) >= announced);
    return result;
}

MemoryBlock httpFetch(const std::string& url)
{
    return httpDownload(url).body;
}

std::string httpGet(const std::string& url)
{
    MemoryBlock block = httpFetch(url);
    MemoryBlockOwner owner(block);
    return std::string(block.bytes); // up to the first zero byte
}

MemoryBlock httpPostForm(const std::string& url, const char* body, size_t length)
{
    MemoryBlock block = makeMemoryBlock();
    EasyHandle curl;
    if (!curl.handle)
        return block;
    curl_easy_setopt(curl.handle, CURLOPT_URL, curlAddress(url).c_str());
    curl_easy_setopt(curl.handle, CURLOPT_POSTFIELDS, body ? body : "");
    curl_easy_setopt(curl.handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(length));
    curl_easy_setopt(curl.handle, CURLOPT_WRITEFUNCTION, memorySink);
    curl_easy_setopt(curl.handle, CURLOPT_WRITEDATA, &block);
    perform(curl.handle);
    return block;
}

MemoryBlock httpPostForm(const std::string& url, const std::string& body)
{
    return httpPostForm(url, body.data(), body.size());
}

MemoryBlock httpPostFile(const std::string& url, const std::string& path)
{
    const std::pair<char*, size_t> file = readFile(path);
    std::unique_ptr<char[]> owner(file.first);
    return httpPostForm(url, file.first, file.second);
}

bool httpPutFile(const std::string& url, const std::string& path, std::string& answer)
{
    answer.clear();
    FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file)
        return false;
    MemoryBlock headers = makeMemoryBlock();
    MemoryBlockOwner headersOwner(headers);
    // The size from the open file, not from reading the content once more.
    size_t size = 0;
    if (!fileSize(file.get(), size))
        return false;

    EasyHandle curl;
    if (!curl.handle)
        return false;
    HeaderList list;
    list.list = curl_slist_append(nullptr, "Content-Type: application/octet-stream");
    curl_easy_setopt(curl.handle, CURLOPT_HTTPHEADER, list.list);
    curl_easy_setopt(curl.handle, CURLOPT_READFUNCTION, fileSource);
    curl_easy_setopt(curl.handle, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl.handle, CURLOPT_URL, curlAddress(url).c_str());
    curl_easy_setopt(curl.handle, CURLOPT_READDATA, file.get());
    curl_easy_setopt(curl.handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
    curl_easy_setopt(curl.handle, CURLOPT_HEADERFUNCTION, memorySink);
    curl_easy_setopt(curl.handle, CURLOPT_HEADERDATA, &headers);
    curl_easy_setopt(curl.handle, CURLOPT_WRITEFUNCTION, discardSink);
    if (perform(curl.handle) != CURLE_OK)
        return false;
    answer.assign(headers.bytes, headers.size);
    return true;
}

bool httpDownloadFile(const std::string& url, const std::string& path)
{
    MemoryBlock block = httpFetch(url);
    MemoryBlockOwner owner(block);
    return writeFile(path, block.bytes, block.size);
}

std::string urlEscape(const std::string& text)
{
    EasyHandle curl;
    if (!curl.handle)
        return std::string();
    char* escaped = curl_easy_escape(curl.handle, text.data(), static_cast<int>(text.size()));
    if (!escaped)
        return std::string();
    std::string result(escaped);
    curl_free(escaped);
    return result;
}

std::string urlUnescape(const std::string& text)
{
    EasyHandle curl;
    if (!curl.handle)
        return std::string();
    int length = 0;
    char* plain = curl_easy_unescape(curl.handle, text.data(), static_cast<int>(text.size()), &length);
    if (!plain)
        return std::string();
    std::string result(plain, static_cast<size_t>(length));
    curl_free(plain);
    return result;
}

} // namespace Velda
