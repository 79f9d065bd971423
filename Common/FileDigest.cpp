#include "Common/FileDigest.h"

#include <vector>

namespace VeldaClient {

FileDigest::FileDigest() : hash_(QCryptographicHash::Sha256) {}

bool FileDigest::open(const std::string& path)
{
    file_.setFileName(QString::fromStdString(path));
    if (!file_.open(QIODevice::ReadOnly)) {
        error_ = file_.errorString().toStdString();
        return false;
    }
    size_ = file_.size();
    return true;
}

bool FileDigest::step(qint64 bytes)
{
    if (done_ || !error_.empty())
        return done_;
    std::vector<char> buffer(static_cast<size_t>(std::min<qint64>(bytes, 1 << 20)));
    for (qint64 left = bytes; left > 0;) {
        const qint64 n = file_.read(buffer.data(), std::min<qint64>(left, static_cast<qint64>(buffer.size())));
        if (n < 0) {
            error_ = file_.errorString().toStdString();
            return false;
        }
        if (n == 0) {
            done_ = true;
            hex_ = hash_.result().toHex().toStdString();
            file_.close();
            return true;
        }
        hash_.addData(buffer.data(), static_cast<int>(n));
        read_ += n;
        left -= n;
    }
    return false;
}

double FileDigest::fraction() const
{
    if (done_)
        return 1.0;
    return size_ > 0 ? std::min(1.0, static_cast<double>(read_) / static_cast<double>(size_)) : 0.0;
}

std::string FileDigest::of(const std::string& path)
{
    FileDigest digest;
    if (!digest.open(path))
        return std::string();
    while (!digest.step())
        if (!digest.error().empty())
            return std::string();
    return digest.hex();
}

} // namespace VeldaClient
