#include "service/BcfArchiveWriter.h"

#include <zip.h>

#include <cstdio>

namespace VeldaClient {

namespace {

// The bytes a buffer source holds after its archive was closed.
QByteArray sourceBytes(zip_source_t* source)
{
    QByteArray bytes;
    if (zip_source_open(source) != 0)
        return bytes;
    zip_int64_t size = -1;
    if (zip_source_seek(source, 0, SEEK_END) == 0)
        size = zip_source_tell(source);
    if (size > 0 && size < (1LL << 31) && zip_source_seek(source, 0, SEEK_SET) == 0) {
        bytes.resize(static_cast<int>(size));
        if (zip_source_read(source, bytes.data(), static_cast<zip_uint64_t>(size)) != size)
            bytes.clear();
    }
    zip_source_close(source);
    return bytes;
}

} // namespace

QByteArray BcfArchiveWriter::finish() const
{
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* target = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_error_fini(&error);
    if (!target)
        return QByteArray();
    // The archive frees its source when it closes; the bytes are read after.
    zip_source_keep(target);
    zip_t* archive = zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    if (!archive) {
        zip_source_free(target);
        zip_source_free(target);
        return QByteArray();
    }
    bool ok = true;
    for (const auto& entry : entries_) {
        // The entries' bytes stay alive in this object until the archive is closed.
        zip_source_t* data = zip_source_buffer(archive, entry.second.constData(),
                                               static_cast<zip_uint64_t>(entry.second.size()), 0);
        if (!data) {
            ok = false;
            break;
        }
        if (zip_file_add(archive, entry.first.c_str(), data, ZIP_FL_ENC_UTF_8) < 0) {
            zip_source_free(data);
            ok = false;
            break;
        }
    }
    if (!ok || zip_close(archive) != 0) {
        zip_discard(archive);
        zip_source_free(target);
        return QByteArray();
    }
    const QByteArray bytes = sourceBytes(target);
    zip_source_free(target);
    return bytes;
}

} // namespace VeldaClient
