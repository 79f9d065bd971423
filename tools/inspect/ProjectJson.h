#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace VeldaTools {

// Thrown when a file cannot be read as the kind asked for. `partialJson`
// holds what could be read (a bundle's leading documents), or is empty.
class InspectError : public std::runtime_error {
public:
    explicit InspectError(const std::string& what, std::string partial = std::string())
        : std::runtime_error(what), partialJson(std::move(partial)) {}
    std::string partialJson;
};

enum class FileKind { Index, Bundle, Document, Props };

// The kind a file name stands for: "index", "props", "*.me", "*.mt"; false
// if none.
bool kindFromName(const std::string& path, FileKind& kind);

// The project file as JSON text; throws InspectError.
std::string inspectBytes(const unsigned char* data, size_t size, FileKind kind, bool pretty = true);

} // namespace VeldaTools
