#pragma once

#include <QCryptographicHash>
#include <QFile>

#include <string>

namespace VeldaClient {

// The SHA-256 of a file's bytes, read a piece at a time, so that the caller
// can show how far it has come and stop between pieces.
class FileDigest {
public:
    FileDigest();

    // False when the file cannot be opened; error() says why.
    bool open(const std::string& path);
    // Hashes up to `bytes` more; true once the whole file is hashed. False
    // with error() set when reading fails.
    bool step(qint64 bytes = 4 << 20);
    bool done() const { return done_; }
    // 0 to 1.
    double fraction() const;
    // Lower-case hexadecimal, once done.
    std::string hex() const { return hex_; }
    std::string error() const { return error_; }

    // The whole digest at once; empty when the file cannot be read.
    static std::string of(const std::string& path);

private:
    QFile file_;
    QCryptographicHash hash_;
    qint64 size_ = 0, read_ = 0;
    bool done_ = false;
    std::string hex_, error_;
};

} // namespace VeldaClient
