#pragma once

#include "service/SavedViewStore.h"

#include <string>

namespace VeldaClient {

// The saved views of a model opened from a file, kept on this machine in
// one SQLite database (the owner's only), keyed by the model's content
// hash: the same file opened again, from any place, finds its views. Every
// call opens its own connection and writes in one transaction, so the save
// on a pool thread and the reads on the GUI thread never share one, and two
// viewers of one model wait for each other instead of failing.
class LocalViewStore : public SavedViewStore {
public:
    LocalViewStore(std::string databasePath, std::string modelKey);

    bool followsClient() const override { return false; }
    bool canSave() override { return true; }
    std::string readRecord() override;
    // Also drops the pictures the record no longer names.
    void saveRecord(const std::string& record) override;
    void saveScript(const std::string& script) override;
    // Kept under "<MD5 of the bytes>.png".
    std::string storeThumbnail(const std::string& localPath) override;
    std::string fetchThumbnail(const std::string& name) override;
    // The script as last saved, or empty.
    std::string readScript();

    // "SavedViews.db" in the application data folder.
    static const char* const kFileName;

private:
    std::string databasePath_;
    std::string modelKey_;
};

} // namespace VeldaClient
