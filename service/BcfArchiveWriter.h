#pragma once

#include <QByteArray>

#include <string>
#include <utility>
#include <vector>

namespace VeldaClient {

// A zip made in memory, entry by entry, in the order they are added.
class BcfArchiveWriter {
public:
    void add(const std::string& name, const QByteArray& bytes) { entries_.emplace_back(name, bytes); }
    // The archive's bytes; empty when the library fails.
    QByteArray finish() const;

private:
    std::vector<std::pair<std::string, QByteArray>> entries_;
};

} // namespace VeldaClient
