#pragma once

#include <QString>

#include <string>

namespace VeldaClient {

// Saved views keep their time as local "yyyy-MM-dd hh:mm"; BCF wants an
// ISO 8601 date and time.
class BcfDateTime {
public:
    // With the local offset, e.g. "2026-11-22T09:15:00+08:00"; the present
    // time for a view whose time can't be read.
    static QString toIso(const std::string& viewTime);
    // Empty when the text is no ISO date and time.
    static std::string toViewTime(const QString& iso);
};

} // namespace VeldaClient
