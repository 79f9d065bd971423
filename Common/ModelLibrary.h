#pragma once

#include <string>

namespace VeldaClient {

// The projects packed from model files opened directly, one folder per
// file content: "<application data>/Models/<format>/<SHA-256>/". A project
// is packed into a private staging folder and renamed into place whole, so
// no half-written project is ever found under its name; a second open of
// the same file finds it and packs nothing. The format is the viewer's
// version: a newer packer packs again.
class ModelLibrary {
public:
    explicit ModelLibrary(const std::string& appDataFolder);

    // With its trailing separator.
    const std::string& root() const { return root_; }
    // The project folder of a content key, without a trailing separator.
    std::string projectFolder(const std::string& key) const;
    // Whether the key's project is in place (its index is there).
    bool holds(const std::string& key) const;
    // A new private folder to pack into: ".pack-<pid>-XXXXXX" under the
    // root. Throws std::runtime_error when it cannot be made.
    std::string makeStaging() const;
    // The folder inside a staging folder that the packer writes.
    static std::string stagedProject(const std::string& staging);
    // Moves the staged project into the key's place and removes the staging
    // folder. When another viewer put the same project there first, that
    // one stays. False when the key's project is not in place afterwards.
    bool commit(const std::string& staging, const std::string& key) const;
    // Removes a staging folder with all it holds.
    void discard(const std::string& staging) const;
    // Removes the staging folders of viewers that are gone (ended while
    // packing); those of running viewers stay.
    void sweep() const;

private:
    std::string root_;
};

} // namespace VeldaClient
