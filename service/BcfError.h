#pragma once

#include <QString>

#include <stdexcept>
#include <string>

namespace VeldaClient {

// Why a BCF file is refused, as the user reads it (Chinese, UTF-8).
class BcfError : public std::runtime_error {
public:
    explicit BcfError(const std::string& reason) : std::runtime_error(reason) {}

    // A name out of the file as a message may show it: printable, no markup,
    // at most 80 characters.
    static std::string shown(const std::string& name)
    {
        QString text = QString::fromUtf8(name.c_str(), static_cast<int>(name.size()));
        for (QChar& c : text)
            if (c.unicode() < 0x20 || c.unicode() == 0x7f || c == '<' || c == '>' || c == '&')
                c = '?';
        if (text.size() > 80)
            text = text.left(80) + "...";
        return text.toStdString();
    }
};

} // namespace VeldaClient
