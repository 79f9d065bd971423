#pragma once

#include "jobs/MemoryBlock.h"

#include <atomic>
#include <cstddef>
#include <string>

namespace Velda {

// Blocking transfers over libcurl's easy interface. Each call makes and cleans
// up its own handle, so they may run on any thread at the same time. HTTP
// status codes are not looked at: a failed transfer gives what arrived (often
// nothing), an error page is an ordinary body. "file:///" addresses go the
// same way as remote ones.

// GET into memory; the caller frees `bytes` with free().
MemoryBlock httpFetch(const std::string& url);

// What a GET delivered, and whether it is the whole file.
struct Download {
    MemoryBlock body;       // what arrived; the caller frees `bytes` with free()
    bool whole = false;     // no transport error, a 2xx status (or a local file), nothing short of the announced length
    bool stopped = false;   // abandoned because `stop` turned true
};

// GET into memory that tells a whole file from a failed one. `stop`, when
// given, is read by curl's progress callback during the transfer: once it
// is true the transfer ends at the next callback (connect, data or the
// once-a-second idle call).
Download httpDownload(const std::string& url, const std::atomic<bool>* stop = nullptr);

// GET; the body as text, cut at the first zero byte.
std::string httpGet(const std::string& url);

// POST of a body; the answer into memory.
MemoryBlock httpPostForm(const std::string& url, const char* body, size_t length);
MemoryBlock httpPostForm(const std::string& url, const std::string& body);

// POST with a file's bytes as body.
MemoryBlock httpPostFile(const std::string& url, const std::string& path);

// PUT of a file. On success the response headers (not the body) become
// `answer` and the result is true; on failure `answer` stays empty.
bool httpPutFile(const std::string& url, const std::string& path, std::string& answer);

// GET into a file, written in binary mode. True when the file was written.
bool httpDownloadFile(const std::string& url, const std::string& path);

// Percent-escapes UTF-8 text for a URL.
std::string urlEscape(const std::string& text);

// Decodes percent escapes; the result is UTF-8 text.
std::string urlUnescape(const std::string& text);

} // namespace Velda
