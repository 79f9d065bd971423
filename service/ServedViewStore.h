#pragma once

#include "service/SavedViewStore.h"

namespace VeldaClient {

// The saved views of a served project: the web calls, with the companion
// client's state deciding whether a save may go ahead.
class ServedViewStore : public SavedViewStore {
public:
    bool followsClient() const override { return true; }
    bool canSave() override;
    std::string readRecord() override;
    void saveRecord(const std::string& record) override;
    void saveScript(const std::string& script) override;
    std::string storeThumbnail(const std::string& localPath) override;
    std::string fetchThumbnail(const std::string& name) override;
};

} // namespace VeldaClient
