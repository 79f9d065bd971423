#pragma once

#include <QByteArray>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct zip;

namespace VeldaClient {

// A BCF zip read from an untrusted file, into memory only: nothing is ever
// extracted by its entry's name. Opening reads the file (bounded) and checks
// every entry before any is inflated: the count, the sizes the directory
// declares, and names that would lead out of a folder (`..`, absolute,
// backslashes, drive letters). Reading an entry stops one byte past what it
// declared, so an entry that inflates beyond its word is caught too.
// Everything refused throws BcfError with the reason.
class BcfArchiveReader {
public:
    struct Limits {
        int64_t fileBytes;
        int64_t entries;
        uint64_t entryBytes;
        uint64_t totalBytes;
    };
    // Far above any real file: 256 MiB a file, 4096 entries, 64 MiB an
    // entry and 512 MiB in all when inflated.
    static constexpr Limits kLimits{256LL << 20, 4096, 64ULL << 20, 512ULL << 20};

    explicit BcfArchiveReader(const std::string& path, const Limits& limits = kLimits);
    ~BcfArchiveReader();
    BcfArchiveReader(const BcfArchiveReader&) = delete;
    BcfArchiveReader& operator=(const BcfArchiveReader&) = delete;

    // The files' names in archive order (folders left out).
    const std::vector<std::string>& names() const { return files_; }
    bool contains(const std::string& name) const { return index_.count(name) > 0; }
    // The whole entry; refused beyond `limit` bytes.
    QByteArray read(const std::string& name, uint64_t limit) const;

    // Whether a name stays inside the folder it is unpacked in.
    static bool safeName(const std::string& name);

private:
    // Discards the archive also when the constructor throws half way.
    struct Discard {
        void operator()(::zip* archive) const;
    };
    QByteArray bytes_;
    std::unique_ptr<::zip, Discard> archive_;
    std::map<std::string, uint64_t> index_;
    std::map<std::string, uint64_t> sizes_;
    std::vector<std::string> files_;
};

} // namespace VeldaClient
