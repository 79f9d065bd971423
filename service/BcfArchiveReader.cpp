#include "service/BcfArchiveReader.h"

#include "service/BcfError.h"

#include <QFile>
#include <QFileInfo>

#include <zip.h>

namespace VeldaClient {

namespace {

const char* const kBroken = "文件不是有效的 BCF 压缩包";
const char* const kTooLarge = "压缩包的内容解压后过大";

} // namespace

bool BcfArchiveReader::safeName(const std::string& name)
{
    if (name.empty() || name.size() > 1024 || name.front() == '/')
        return false;
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f || c == '\\' || c == ':')
            return false;
    size_t start = 0;
    while (start < name.size()) {
        size_t end = name.find('/', start);
        if (end == std::string::npos)
            end = name.size();
        const std::string part = name.substr(start, end - start);
        // "a//b" and "./" are ways round the check of the parts.
        if (part.empty() || part == "." || part == "..")
            return false;
        start = end + 1;
    }
    return true;
}

BcfArchiveReader::BcfArchiveReader(const std::string& path, const Limits& limits)
{
    const QString name = QString::fromStdString(path);
    QFile file(name);
    if (!QFileInfo(name).isFile() || !file.open(QIODevice::ReadOnly))
        throw BcfError("文件无法打开");
    if (file.size() > limits.fileBytes)
        throw BcfError("文件过大");
    bytes_ = file.read(limits.fileBytes + 1);
    if (bytes_.size() > limits.fileBytes)
        throw BcfError("文件过大");

    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes_.constData(), static_cast<zip_uint64_t>(bytes_.size()), 0,
                                                    &error);
    if (source)
        archive_.reset(zip_open_from_source(source, ZIP_RDONLY, &error));
    zip_error_fini(&error);
    if (!archive_) {
        if (source)
            zip_source_free(source);
        throw BcfError(kBroken);
    }

    const zip_int64_t count = zip_get_num_entries(archive_.get(), 0);
    if (count < 0)
        throw BcfError(kBroken);
    if (count > limits.entries)
        throw BcfError("压缩包的条目过多");
    uint64_t total = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(archive_.get(), static_cast<zip_uint64_t>(i), 0, &stat) != 0 || !(stat.valid & ZIP_STAT_NAME) ||
            !(stat.valid & ZIP_STAT_SIZE))
            throw BcfError(kBroken);
        const std::string entry = stat.name;
        if (!safeName(entry))
            throw BcfError("压缩包含不安全的条目名称: " + BcfError::shown(entry));
        if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && stat.encryption_method != ZIP_EM_NONE)
            throw BcfError("压缩包含加密的条目: " + BcfError::shown(entry));
        if (stat.size > limits.entryBytes)
            throw BcfError(kTooLarge);
        total += stat.size;
        if (total > limits.totalBytes)
            throw BcfError(kTooLarge);
        if (!index_.emplace(entry, static_cast<uint64_t>(i)).second)
            throw BcfError("压缩包含重复的条目: " + BcfError::shown(entry));
        sizes_[entry] = stat.size;
        if (entry.back() != '/')
            files_.push_back(entry);
    }
}

BcfArchiveReader::~BcfArchiveReader() = default;

void BcfArchiveReader::Discard::operator()(::zip* archive) const
{
    zip_discard(archive);
}

QByteArray BcfArchiveReader::read(const std::string& name, uint64_t limit) const
{
    const auto found = index_.find(name);
    if (found == index_.end())
        throw BcfError("压缩包缺少 " + BcfError::shown(name));
    const uint64_t declared = sizes_.at(name);
    if (declared > limit)
        throw BcfError(kTooLarge);
    zip_file_t* entry = zip_fopen_index(archive_.get(), found->second, 0);
    if (!entry)
        throw BcfError(kBroken);
    // One byte more than declared tells an entry that inflates beyond its word.
    QByteArray data(static_cast<int>(declared + 1), '\0');
    uint64_t got = 0;
    bool failed = false;
    while (got < declared + 1) {
        const zip_int64_t n = zip_fread(entry, data.data() + got, declared + 1 - got);
        if (n < 0) {
            failed = true;
            break;
        }
        if (n == 0)
            break;
        got += static_cast<uint64_t>(n);
    }
    zip_fclose(entry);
    if (got > declared)
        throw BcfError(kTooLarge);
    if (failed || got != declared)
        throw BcfError(kBroken);
    data.resize(static_cast<int>(declared));
    return data;
}

} // namespace VeldaClient
